// The collector of the device's last known location.
#pragma once

#include <optional>
#include <string>

#include "DataHelpers/RQBDataHelper.h"
#include "RQBehavior/RQBExport.h"
#include "Platform/DeviceCalendar.h"
#include "Utils/SharedGlobal.h"

// "Location": the location the location services have cached, as a one-line
// record, e.g.
//   { "lat": -23.5505, "lot": -46.6333, "alt": 760.5, "ts": 2021-01-21T14:03:07-0300,
//     "hac": 65, "vac": 10, "c": 181.5, "s": 0.75 }
// with ", "fl": <level>" before the closing brace when the floor is known.
// The timestamp is bare (the record is not strict JSON) and "lot" is the
// longitude. "{}" when there is no usable location, which includes the first
// run of a process and any fix whose course is exactly 0.
class RQB_EXPORT RQBLocationDataHelper final : public RQBDataHelper {
 public:
  // Replaces dtFormatter() with a new formatter for the device's current
  // locale, week rules and time zone.
  RQBLocationDataHelper();

  std::optional<std::string> getKey() override;
  std::optional<std::string> getValue() override;
};

// The formatter of the location's timestamp, replaced by every
// RQBLocationDataHelper and read by getValue().
rqb::SharedGlobal<rqb::DateFormatter>& dtFormatter();
