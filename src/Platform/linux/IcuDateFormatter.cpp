#include "Platform/linux/IcuDateFormatter.h"

#include <unicode/calendar.h>
#include <unicode/locid.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

namespace rqb {

IcuDateFormatter::IcuDateFormatter(std::string_view pattern, const CalendarSettings& settings) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::Locale locale(settings.locale.c_str());
  // The calendar carries the time zone and the week rules; the formatter
  // takes both from it.
  std::unique_ptr<icu::Calendar> calendar(icu::Calendar::createInstance(
      icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(settings.time_zone)), locale,
      status));
  if (U_FAILURE(status)) return;
  calendar->setFirstDayOfWeek(static_cast<UCalendarDaysOfWeek>(settings.first_weekday));
  calendar->setMinimalDaysInFirstWeek(static_cast<uint8_t>(settings.minimal_days_in_first_week));

  auto format = std::make_unique<icu::SimpleDateFormat>(
      icu::UnicodeString::fromUTF8(
          icu::StringPiece(pattern.data(), static_cast<int32_t>(pattern.size()))),
      locale, status);
  if (U_FAILURE(status)) return;
  format->adoptCalendar(calendar.release());
  format_ = std::move(format);
}

IcuDateFormatter::~IcuDateFormatter() = default;

std::string IcuDateFormatter::StringFromDate(std::chrono::system_clock::time_point date) const {
  const UDate milliseconds =
      std::chrono::duration<double, std::milli>(date.time_since_epoch()).count();
  icu::UnicodeString text;
  {
    std::lock_guard lock(mutex_);
    if (!format_) return {};
    format_->format(milliseconds, text);
  }
  std::string utf8;
  text.toUTF8String(utf8);
  return utf8;
}

}  // namespace rqb
