// The device's regional settings on Linux, as ICU reads them from the process
// environment.
#pragma once

#include <string_view>

#include "Platform/DeviceCalendar.h"
#include "Platform/linux/IcuDateFormatter.h"

namespace rqb {

// The settings of the ICU locale `locale_id` in the time zone `time_zone_id`:
// the week rules are the locale's (its region's) own.
CalendarSettings CalendarSettingsFor(std::string_view locale_id, std::string_view time_zone_id);

// The locale is ICU's default, taken from LC_ALL, LC_MESSAGES or LANG when
// ICU is first used ("C" and "POSIX" give en_US_POSIX) unless the host sets
// another; the time zone is read afresh on every call, from TZ or else
// /etc/localtime.
class LinuxDeviceCalendar final : public DeviceCalendar {
 public:
  // The settings in force now.
  CalendarSettings Current() const;

  // An IcuDateFormatter under Current().
  std::shared_ptr<DateFormatter> CreateDateFormatter(std::string_view pattern) const override;
};

}  // namespace rqb
