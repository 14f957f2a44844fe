// "SSID": the Wi-Fi network name, looked up under a key the system never uses.
#pragma once

#include "DataHelpers/RQBDataHelper.h"

class RQB_EXPORT RQBSSIDDataHelper final : public RQBDataHelper {
 public:
  std::optional<std::string> getKey() override;
  std::optional<std::string> getValue() override;
};
