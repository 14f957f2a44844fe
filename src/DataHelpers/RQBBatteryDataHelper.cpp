#include "DataHelpers/RQBBatteryDataHelper.h"

#include "DataHelpers/BatteryDescription.h"
#include "RQBehavior/RQBConstants.h"

std::optional<std::string> RQBBatteryDataHelper::getKey() { return RQBVARBattery; }

std::optional<std::string> RQBBatteryDataHelper::getValue() {
  return rqb::DescribeCurrentBattery();
}
