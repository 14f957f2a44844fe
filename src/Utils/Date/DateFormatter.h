// Dates written as text with an ICU pattern, the way the device writes them.
#pragma once

#include <unicode/uversion.h>

#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "Platform/DeviceCalendar.h"

U_NAMESPACE_BEGIN
class SimpleDateFormat;
U_NAMESPACE_END

namespace rqb {

// A date formatter fixed at construction to a pattern and to the device's
// locale, week rules and time zone. Safe to share between threads: uses of
// one formatter are serialised, because ICU formatters are not reentrant.
class DateFormatter {
 public:
  // `pattern` is an ICU date pattern; "YYYY" in it is the week-based year,
  // which follows `settings`' first weekday and minimal days in the first week.
  DateFormatter(std::u16string_view pattern, const CalendarSettings& settings);
  ~DateFormatter();

  DateFormatter(const DateFormatter&) = delete;
  DateFormatter& operator=(const DateFormatter&) = delete;

  // The date as UTF-8 text; "" if ICU could not build the formatter.
  std::string StringFromDate(std::chrono::system_clock::time_point date) const;

 private:
  mutable std::mutex mutex_;
  std::unique_ptr<icu::SimpleDateFormat> format_;  // guarded by mutex_; null on failure
};

}  // namespace rqb
