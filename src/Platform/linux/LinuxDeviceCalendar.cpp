#include "Platform/linux/LinuxDeviceCalendar.h"

#include <unicode/calendar.h>
#include <unicode/locid.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include <memory>
#include <mutex>
#include <string>

namespace rqb {

CalendarSettings CalendarSettingsFor(std::string_view locale_id, std::string_view time_zone_id) {
  CalendarSettings settings;
  settings.locale = std::string(locale_id);
  settings.time_zone = std::string(time_zone_id);
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::Calendar> calendar(
      icu::Calendar::createInstance(icu::Locale(settings.locale.c_str()), status));
  if (U_FAILURE(status)) return settings;  // Sunday and one day, ICU's own fallback
  settings.first_weekday = calendar->getFirstDayOfWeek(status);
  settings.minimal_days_in_first_week = calendar->getMinimalDaysInFirstWeek();
  return settings;
}

CalendarSettings LinuxDeviceCalendar::Current() const {
  // ICU reads the host's zone through static buffers without a lock of its
  // own: once when it makes its default zone, and in every
  // detectHostTimeZone(). Collection runs overlap, so the default comes
  // first, then one detection at a time.
  static auto* const detecting = [] {
    delete icu::TimeZone::createDefault();
    return new std::mutex();
  }();
  std::unique_lock lock(*detecting);
  const std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::detectHostTimeZone());
  lock.unlock();
  icu::UnicodeString zone_id;
  zone->getID(zone_id);
  std::string zone_utf8;
  zone_id.toUTF8String(zone_utf8);
  return CalendarSettingsFor(icu::Locale::getDefault().getName(), zone_utf8);
}

std::shared_ptr<DateFormatter> LinuxDeviceCalendar::CreateDateFormatter(
    std::string_view pattern) const {
  return std::make_shared<IcuDateFormatter>(pattern, Current());
}

}  // namespace rqb
