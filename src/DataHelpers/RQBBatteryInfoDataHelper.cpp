#include "DataHelpers/RQBBatteryInfoDataHelper.h"

#include "Constants/RQBConstantTexts.h"
#include "DataHelpers/BatteryDescription.h"

std::optional<std::string> RQBBatteryInfoDataHelper::getKey() {
  return rqb::text::RQBVARBatteryInfo;
}

std::optional<std::string> RQBBatteryInfoDataHelper::getValue() {
  return rqb::DescribeCurrentBattery();
}
