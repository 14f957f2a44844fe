// The device's regional settings on Linux: ICU's locale and the system's time
// zone.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Platform/DeviceCalendar.h"
#include "Platform/linux/IcuDateFormatter.h"

namespace rqb {

// The settings of the ICU locale `locale_id` in the time zone `time_zone_id`:
// the week rules are the locale's (its region's) own.
CalendarSettings CalendarSettingsFor(std::string_view locale_id, std::string_view time_zone_id);

// The time zone identifier that a TZ value, a zoneinfo path or the text of
// /etc/timezone names, if ICU knows it: "Europe/Berlin", ":Europe/Berlin",
// "/usr/share/zoneinfo/posix/Europe/Berlin" and "../usr/share/zoneinfo/
// Europe/Berlin" all name "Europe/Berlin". Nothing for a POSIX rule such as
// "CET-1CEST" and for names ICU does not know.
std::optional<std::string> TimeZoneNamedBy(std::string_view name);

// The locale is ICU's default, taken from LC_ALL, LC_MESSAGES or LANG when
// ICU is first used ("C" and "POSIX" give en_US_POSIX) unless the host sets
// another. The time zone is read afresh on every call, in the order the C
// library and the system's tools follow: TZ (UTC when set but empty), else
// the zoneinfo file that /etc/localtime links to, else /etc/timezone, else
// UTC; a TZ that names no zone ICU knows (a POSIX rule) is passed over.
// Within one collection run the zone is read once (RunReadings). Any number
// of threads may ask at once.
class LinuxDeviceCalendar final : public DeviceCalendar {
 public:
  // Reads /etc below `root`: "" for this machine, another folder for tests.
  explicit LinuxDeviceCalendar(std::string root = "");

  // The settings in force now.
  CalendarSettings Current() const;

  // An IcuDateFormatter under Current().
  std::shared_ptr<DateFormatter> CreateDateFormatter(std::string_view pattern) const override;

 private:
  std::string CurrentTimeZone() const;

  const std::string root_;
};

}  // namespace rqb
