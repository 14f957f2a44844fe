// "GuidedAccessEnabled": "unknown" from system version 13.0.0 on, else
// "true" or "false".
#pragma once

#include "DataHelpers/RQBDataHelper.h"

class RQB_EXPORT RQBGuidedAccessDataHelper final : public RQBDataHelper {
 public:
  std::optional<std::string> getKey() override;
  std::optional<std::string> getValue() override;
};
