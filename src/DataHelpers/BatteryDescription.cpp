#include "DataHelpers/BatteryDescription.h"

#include <cstdio>

#include "Platform/Device.h"
#include "Platform/Platform.h"

namespace rqb {

std::string FormatBatteryDescription(long state, float level) {
  std::string text = "{ ";
  // Tested in this order on purpose: unplugged, full, charging.
  if (state == kBatteryStateUnplugged) {
    text += "\"s\": \"u\"";
  } else if (state == kBatteryStateFull) {
    text += "\"s\": \"f\"";
  } else if (state == kBatteryStateCharging) {
    text += "\"s\": \"c\"";
  } else {
    text += "\"s\": \"unknown\"";
  }
  // The product is rounded to float before it is widened: multiplying in
  // double would print 0.85 as 85.000002.
  const float percent = level * 100.0f;
  char number[64];
  std::snprintf(number, sizeof number, "%f", static_cast<double>(percent));
  text += ", \"l\": ";
  text += number;
  text += " }";
  return text;
}

std::string DescribeCurrentBattery() {
  Device& device = *CurrentPlatform().device;
  const bool switch_off_afterwards = !device.IsBatteryMonitoringEnabled();
  if (switch_off_afterwards) device.SetBatteryMonitoringEnabled(true);
  const long state = device.BatteryState();
  const float level = device.BatteryLevel();
  if (switch_off_afterwards) device.SetBatteryMonitoringEnabled(false);
  return FormatBatteryDescription(state, level);
}

}  // namespace rqb
