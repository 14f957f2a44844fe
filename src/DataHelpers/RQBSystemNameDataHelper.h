// "SystemName": the running system's name.
#pragma once

#include "DataHelpers/RQBDataHelper.h"

class RQB_EXPORT RQBSystemNameDataHelper final : public RQBDataHelper {
 public:
  std::optional<std::string> getKey() override;
  std::optional<std::string> getValue() override;
};
