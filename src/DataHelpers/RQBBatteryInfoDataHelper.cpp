#include "DataHelpers/RQBBatteryInfoDataHelper.h"

#include "DataHelpers/BatteryDescription.h"
#include "RQBehavior/RQBConstants.h"

std::optional<std::string> RQBBatteryInfoDataHelper::getKey() { return RQBVARBatteryInfo; }

std::optional<std::string> RQBBatteryInfoDataHelper::getValue() {
  return rqb::DescribeCurrentBattery();
}
