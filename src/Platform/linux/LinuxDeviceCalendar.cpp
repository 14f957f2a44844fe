#include "Platform/linux/LinuxDeviceCalendar.h"

#include <unicode/calendar.h>
#include <unicode/locid.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "Platform/ForkGate.h"
#include "Platform/RunReadings.h"
#include "Platform/linux/LinuxEnvironment.h"
#include "Utils/Text/Utf8.h"

namespace rqb {

namespace {

// Answers of ICU that depend on nothing but their question, which collection
// runs ask again and again: kept for the few questions last asked.
template <typename Answer>
class RecentAnswers {
 public:
  template <typename Ask>
  Answer Get(const std::string& question, Ask&& ask) {
    {
      std::lock_guard lock(mutex_);
      for (const auto& [asked, answer] : answers_) {
        if (asked == question) return answer;
      }
    }
    Answer answer = [&] {
      const ForkGuard icu_takes_locks_of_its_own;
      return ask();
    }();
    std::lock_guard lock(mutex_);
    if (answers_.size() == kKept) answers_.erase(answers_.begin());
    answers_.emplace_back(question, answer);
    return answer;
  }

 private:
  static constexpr std::size_t kKept = 4;
  ForkSafeMutex mutex_;
  std::vector<std::pair<std::string, Answer>> answers_;  // guarded by mutex_
};

struct WeekRules {
  int first_weekday = 1;  // Sunday and one day: ICU's own fallback
  int minimal_days_in_first_week = 1;
};

WeekRules WeekRulesOf(const std::string& locale_id) {
  // Never destroyed: collection threads may ask while the process exits.
  return MakeOnce([] { return new RecentAnswers<WeekRules>(); }).Get(locale_id, [&] {
    UErrorCode status = U_ZERO_ERROR;
    // Week rules do not depend on the zone; naming one keeps ICU from looking
    // for the host's default.
    const std::unique_ptr<icu::Calendar> calendar(icu::Calendar::createInstance(
        *icu::TimeZone::getGMT(), icu::Locale(locale_id.c_str()), status));
    if (U_FAILURE(status)) return WeekRules{};
    return WeekRules{calendar->getFirstDayOfWeek(status), calendar->getMinimalDaysInFirstWeek()};
  });
}

// Whether ICU knows the zone `name`.
bool IsKnownZone(const std::string& name) {
  return MakeOnce([] { return new RecentAnswers<bool>(); }).Get(name, [&] {
    icu::UnicodeString canonical;
    UErrorCode status = U_ZERO_ERROR;
    icu::TimeZone::getCanonicalID(icu::UnicodeString::fromUTF8(name), canonical, status);
    return U_SUCCESS(status);
  });
}

}  // namespace

CalendarSettings CalendarSettingsFor(std::string_view locale_id, std::string_view time_zone_id) {
  CalendarSettings settings;
  settings.locale = std::string(locale_id);
  settings.time_zone = std::string(time_zone_id);
  const WeekRules rules = WeekRulesOf(settings.locale);
  settings.first_weekday = rules.first_weekday;
  settings.minimal_days_in_first_week = rules.minimal_days_in_first_week;
  return settings;
}

std::optional<std::string> TimeZoneNamedBy(std::string_view name) {
  // TZ=":Area/City" is the C library's explicit form of "Area/City".
  if (name.starts_with(':')) name.remove_prefix(1);
  // A path names the zone by its place under a zoneinfo folder.
  if (const std::size_t folder = name.rfind("zoneinfo/"); folder != std::string_view::npos) {
    name.remove_prefix(folder + 9);
  } else if (name.starts_with('/')) {
    return std::nullopt;
  }
  // The same zones, with POSIX or leap-second clocks.
  for (const std::string_view prefix : {"posix/", "right/"}) {
    if (name.starts_with(prefix)) name.remove_prefix(prefix.size());
  }
  if (name.empty() || !IsValidUtf8(name)) return std::nullopt;
  std::string zone(name);
  if (!IsKnownZone(zone)) return std::nullopt;
  // The name as it was given: a link such as "US/Eastern" stays itself.
  return zone;
}

LinuxDeviceCalendar::LinuxDeviceCalendar(std::string root) : root_(std::move(root)) {}

std::string LinuxDeviceCalendar::CurrentTimeZone() const {
  if (const char* tz = std::getenv("TZ")) {
    if (*tz == '\0') return "UTC";  // as the C library reads an empty TZ
    if (auto zone = TimeZoneNamedBy(tz)) return std::move(*zone);
  }
  std::error_code error;
  const std::filesystem::path link = std::filesystem::read_symlink(root_ + "/etc/localtime", error);
  if (!error) {
    if (auto zone = TimeZoneNamedBy(link.native())) return std::move(*zone);
  }
  std::string timezone = ReadFileBytes(root_ + "/etc/timezone", kMaxSettingsFileBytes);
  timezone.erase(std::min(timezone.find_first_of(" \t\r\n"), timezone.size()));
  if (auto zone = TimeZoneNamedBy(timezone)) return std::move(*zone);
  return "UTC";
}

CalendarSettings LinuxDeviceCalendar::Current() const {
  std::string locale;
  {
    const ForkGuard icu_takes_locks_of_its_own;
    locale = icu::Locale::getDefault().getName();
  }
  // The formatters of one run share its reading of the zone.
  return CalendarSettingsFor(
      locale, RunReadings::Shared<std::string>(this, [&] { return CurrentTimeZone(); }));
}

std::shared_ptr<DateFormatter> LinuxDeviceCalendar::CreateDateFormatter(
    std::string_view pattern) const {
  return std::make_shared<IcuDateFormatter>(pattern, Current());
}

}  // namespace rqb
