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

#include "Platform/linux/LinuxEnvironment.h"
#include "Utils/Text/Utf8.h"

namespace rqb {

CalendarSettings CalendarSettingsFor(std::string_view locale_id, std::string_view time_zone_id) {
  CalendarSettings settings;
  settings.locale = std::string(locale_id);
  settings.time_zone = std::string(time_zone_id);
  UErrorCode status = U_ZERO_ERROR;
  // Week rules do not depend on the zone; naming one keeps ICU from looking
  // for the host's default.
  const std::unique_ptr<icu::Calendar> calendar(icu::Calendar::createInstance(
      *icu::TimeZone::getGMT(), icu::Locale(settings.locale.c_str()), status));
  if (U_FAILURE(status)) return settings;  // Sunday and one day, ICU's own fallback
  settings.first_weekday = calendar->getFirstDayOfWeek(status);
  settings.minimal_days_in_first_week = calendar->getMinimalDaysInFirstWeek();
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
  const icu::UnicodeString id = icu::UnicodeString::fromUTF8(
      icu::StringPiece(name.data(), static_cast<int32_t>(name.size())));
  icu::UnicodeString canonical;
  UErrorCode status = U_ZERO_ERROR;
  icu::TimeZone::getCanonicalID(id, canonical, status);
  if (U_FAILURE(status)) return std::nullopt;
  // The name as it was given: a link such as "US/Eastern" stays itself.
  return std::string(name);
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
  return CalendarSettingsFor(icu::Locale::getDefault().getName(), CurrentTimeZone());
}

std::shared_ptr<DateFormatter> LinuxDeviceCalendar::CreateDateFormatter(
    std::string_view pattern) const {
  return std::make_shared<IcuDateFormatter>(pattern, Current());
}

}  // namespace rqb
