// "Battery": the battery state and level, e.g. { "s": "c", "l": 85.000000 }.
// RQBBatteryInfoDataHelper reports the same text under "BatteryInfo".
#pragma once

#include "DataHelpers/RQBDataHelper.h"

class RQB_EXPORT RQBBatteryDataHelper final : public RQBDataHelper {
 public:
  std::optional<std::string> getKey() override;
  std::optional<std::string> getValue() override;
};
