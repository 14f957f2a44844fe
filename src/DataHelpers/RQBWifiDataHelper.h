// "ConnectedViaWifi": whether the internet is reached over a non-cellular link.
#pragma once

#include "DataHelpers/RQBDataHelper.h"

class RQB_EXPORT RQBWifiDataHelper final : public RQBDataHelper {
 public:
  std::optional<std::string> getKey() override;
  std::optional<std::string> getValue() override;
};
