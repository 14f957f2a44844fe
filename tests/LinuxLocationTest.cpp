// The Linux regional settings of the location code, through ICU.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "FakeDevicePlatform.h"
#include "Platform/linux/LinuxDeviceCalendar.h"

namespace rqb {
namespace {

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
