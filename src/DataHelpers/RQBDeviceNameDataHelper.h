// "DeviceName": the name the user gave the device, unescaped.
#pragma once

#include "DataHelpers/RQBDataHelper.h"

class RQB_EXPORT RQBDeviceNameDataHelper final : public RQBDataHelper {
 public:
  std::optional<std::string> getKey() override;
  std::optional<std::string> getValue() override;
};
