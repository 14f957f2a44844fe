// The device's regional settings, as far as they decide how dates are written.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <string_view>

namespace rqb {

// A date formatter fixed, when it was made, to a pattern and to the device's
// locale, week rules and time zone of that moment. Safe to share between
// threads.
class DateFormatter {
 public:
  DateFormatter() = default;
  DateFormatter(const DateFormatter&) = delete;
  DateFormatter& operator=(const DateFormatter&) = delete;
  virtual ~DateFormatter() = default;

  // The date as UTF-8 text; "" when the formatter could not be made.
  virtual std::string StringFromDate(std::chrono::system_clock::time_point date) const = 0;
};

class DeviceCalendar {
 public:
  DeviceCalendar() = default;
  DeviceCalendar(const DeviceCalendar&) = delete;
  DeviceCalendar& operator=(const DeviceCalendar&) = delete;
  virtual ~DeviceCalendar() = default;

  // A new formatter for the Unicode date pattern `pattern` (UTF-8) under the
  // device's locale, week rules and time zone as they stand now: "YYYY" is
  // the week-based year of the device's first weekday and minimal days in
  // the first week, "ZZZ" the zone offset as a sign and four digits. Called
  // from any thread; never throws, never returns nullptr.
  virtual std::shared_ptr<DateFormatter> CreateDateFormatter(std::string_view pattern) const = 0;
};

}  // namespace rqb
