// "BatteryInfo": the battery state and level, e.g. { "s": "c", "l": 85.000000 }.
// RQBBatteryDataHelper reports the same text under "Battery".
#pragma once

#include "DataHelpers/RQBDataHelper.h"

class RQB_EXPORT RQBBatteryInfoDataHelper final : public RQBDataHelper {
 public:
  std::optional<std::string> getKey() override;
  std::optional<std::string> getValue() override;
};
