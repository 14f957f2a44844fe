// "CarrierAllowsVoip": per carrier name, whether it allows voice over IP.
#pragma once

#include "DataHelpers/RQBDataHelper.h"

class RQB_EXPORT RQBVoipDataHelper final : public RQBDataHelper {
 public:
  std::optional<std::string> getKey() override;
  std::optional<std::string> getValue() override;
};
