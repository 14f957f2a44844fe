// Dates written as text with an ICU pattern, the way the device writes them.
#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "Platform/DeviceCalendar.h"

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

  bool operator==(const CalendarSettings&) const = default;
};

// A formatter fixed at construction to a pattern and to `settings`, and
// cheap to make: the ICU formatter, whose construction loads the locale's
// symbols and the zone's rules, is made when a date is first formatted, and
// shared from then on by every formatter with the same pattern and settings
// (a few such ICU formatters are kept for the process, the most recently
// used). Uses of one ICU formatter are serialised, as ICU formatters are not
// reentrant.
class IcuDateFormatter final : public DateFormatter {
 public:
  // `pattern` is an ICU date pattern in UTF-8; "YYYY" in it is the
  // week-based year, which follows `settings`' first weekday and minimal days
  // in the first week.
  IcuDateFormatter(std::string_view pattern, CalendarSettings settings);

  // "" when ICU cannot make a formatter of the pattern and settings.
  std::string StringFromDate(std::chrono::system_clock::time_point date) const override;

 private:
  const std::string pattern_;
  const CalendarSettings settings_;
};

}  // namespace rqb
