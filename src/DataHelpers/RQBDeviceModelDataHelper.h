// "DeviceModel": the hardware machine name, e.g. "iPhone12,1" or "x86_64".
#pragma once

#include "DataHelpers/RQBDataHelper.h"

class RQB_EXPORT RQBDeviceModelDataHelper final : public RQBDataHelper {
 public:
  std::optional<std::string> getKey() override;
  std::optional<std::string> getValue() override;
};
