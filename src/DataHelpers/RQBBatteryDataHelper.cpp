#include "DataHelpers/RQBBatteryDataHelper.h"

#include "Constants/RQBConstantTexts.h"
#include "DataHelpers/BatteryDescription.h"

std::optional<std::string> RQBBatteryDataHelper::getKey() { return rqb::text::RQBVARBattery; }

std::optional<std::string> RQBBatteryDataHelper::getValue() {
  return rqb::DescribeCurrentBattery();
}
