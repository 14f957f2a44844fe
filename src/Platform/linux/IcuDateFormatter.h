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

// The regional settings that decide how a date is written.
struct CalendarSettings {
  // ICU locale identifier, e.g. "pt_BR", "de_DE", "en_US_POSIX".
  std::string locale;
  // Time zone identifier ICU understands: "America/Sao_Paulo", "GMT-03:00".
  std::string time_zone;
  // 1 for Sunday through 7 for Saturday.
  int first_weekday = 1;
  // How many days of the new year the first week must hold, 1 to 7.
  int minimal_days_in_first_week = 1;
};

// An ICU formatter fixed at construction to a pattern and to `settings`.
// Uses of one formatter are serialised, because ICU formatters are not
// reentrant.
class IcuDateFormatter final : public DateFormatter {
 public:
  // `pattern` is an ICU date pattern in UTF-8; "YYYY" in it is the
  // week-based year, which follows `settings`' first weekday and minimal days
  // in the first week.
  IcuDateFormatter(std::string_view pattern, const CalendarSettings& settings);
  ~IcuDateFormatter() override;

  std::string StringFromDate(std::chrono::system_clock::time_point date) const override;

 private:
  mutable std::mutex mutex_;
  std::unique_ptr<icu::SimpleDateFormat> format_;  // guarded by mutex_; null on failure
};

}  // namespace rqb
