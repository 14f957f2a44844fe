// The Linux regional settings, read through ICU: the user's locale from the
// locale variables, and the week rules and time zone of the location code.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "FakeDevicePlatform.h"
#include "Platform/linux/LinuxDeviceCalendar.h"
#include "Platform/linux/LinuxUserLocale.h"

namespace rqb {
namespace {

TEST(LinuxUserLocale, ReadsLanguageCountryAndPreferredLanguagesFromTheVariables) {
  using Case = std::tuple<LocaleEnvironment, std::optional<std::string>, std::optional<std::string>,
                          std::vector<std::string>>;
  for (const auto& [environment, language, country, preferred] : std::vector<Case>{
           {{.lang = "en_US.UTF-8"}, "en", "US", {"en-US"}},
           {{.language = "fr:de", .lang = "POSIX"}, "en", "US", {"en-US"}},
           {{.lc_all = "pt_BR.UTF-8", .lc_messages = "de_DE", .lang = "fr_FR"},
            "pt",
            "BR",
            {"pt-BR"}},
           {{.lc_messages = "de_DE.UTF-8", .lang = "fr_FR"}, "de", "DE", {"de-DE"}},
           {{.language = "pt_BR:en::C", .lang = "de_AT.UTF-8"}, "de", "AT", {"pt-BR", "en"}},
           {{.lang = "sr_RS@latin"}, "sr", "RS", {"sr-Latn-RS"}},
           {{.lang = "fr"}, "fr", std::nullopt, {"fr"}},
           {{.language = "zh_Hans_CN", .lang = "zh_CN.GB18030"}, "zh", "CN", {"zh-Hans-CN"}},
       }) {
    SCOPED_TRACE(environment.lc_all + "|" + environment.lc_messages + "|" + environment.lang + "|" +
                 environment.language);
    const LocaleReading reading = ReadLocale(environment);
    EXPECT_EQ(reading.language_code, language);
    EXPECT_EQ(reading.country_code, country);
    EXPECT_EQ(reading.preferred_languages, preferred);
  }
}

TEST(LinuxDeviceCalendar, TakesTheWeekRulesOfTheLocaleRegion) {
  // Same language, different regions: the region decides.
  const CalendarSettings us = CalendarSettingsFor("en_US", "Europe/Berlin");
  const CalendarSettings gb = CalendarSettingsFor("en_GB", "Europe/Berlin");
  EXPECT_EQ(std::pair(us.first_weekday, us.minimal_days_in_first_week), std::pair(1, 1));
  EXPECT_EQ(std::pair(gb.first_weekday, gb.minimal_days_in_first_week), std::pair(2, 4));
}

TEST(LinuxDeviceCalendar, ReadsTheZoneAfreshFromTzElseTheLocaltimeLinkElseEtcTimezone) {
  const test::TemporaryDirectory root;
  const std::filesystem::path etc = root.path() / "etc";
  std::filesystem::create_directories(etc);
  const LinuxDeviceCalendar calendar(root.path());
  test::ScopedEnvironment tz("TZ", nullptr);
  EXPECT_EQ(calendar.Current().time_zone, "UTC");

  std::ofstream(etc / "timezone") << "Europe/Lisbon\n";
  EXPECT_EQ(calendar.Current().time_zone, "Europe/Lisbon");
  // The link names the zone; its target need not exist below this root.
  std::filesystem::create_symlink("../usr/share/zoneinfo/posix/Asia/Tokyo", etc / "localtime");
  EXPECT_EQ(calendar.Current().time_zone, "Asia/Tokyo");

  for (const auto& [value, zone] : std::vector<std::pair<const char*, const char*>>{
           {"America/Sao_Paulo", "America/Sao_Paulo"},
           {":/usr/share/zoneinfo/Asia/Kolkata", "Asia/Kolkata"},
           {"US/Eastern", "US/Eastern"},
           {"CET-1CEST", "Asia/Tokyo"},  // a POSIX rule names no zone: passed over
           {"Not/AZone", "Asia/Tokyo"},
           {"", "UTC"},
       }) {
    setenv("TZ", value, 1);
    EXPECT_EQ(calendar.Current().time_zone, zone) << "TZ=" << value;
  }
}

}  // namespace
}  // namespace rqb
