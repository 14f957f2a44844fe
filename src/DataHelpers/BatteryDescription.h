// The battery text that RQBBatteryInfoDataHelper and RQBBatteryDataHelper
// both report.
#pragma once

#include <string>

namespace rqb {

// { "s": "<state>", "l": <level x 100> }: the state is "u" (unplugged), "f"
// (full), "c" (charging) or "unknown" for any other number, and the level is
// multiplied in single precision and printed with "%f", so 0.85 reads
// 85.000000 and -1.0 reads -100.000000.
std::string FormatBatteryDescription(long state, float level);

// The current device's battery, read with monitoring switched on. Monitoring
// that was off is switched off again afterwards.
std::string DescribeCurrentBattery();

}  // namespace rqb
