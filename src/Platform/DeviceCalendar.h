// The device's regional settings that decide how dates are written.
#pragma once

#include <string>

namespace rqb {

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

class DeviceCalendar {
 public:
  DeviceCalendar() = default;
  DeviceCalendar(const DeviceCalendar&) = delete;
  DeviceCalendar& operator=(const DeviceCalendar&) = delete;
  virtual ~DeviceCalendar() = default;

  // The settings in force now; they may change while the process runs.
  // Called from any thread; never throws.
  virtual CalendarSettings Current() const = 0;
};

}  // namespace rqb
