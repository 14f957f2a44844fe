// "SystemVersion": the running system's version, e.g. "14.3".
#pragma once

#include "DataHelpers/RQBDataHelper.h"

class RQB_EXPORT RQBSystemVersionDataHelper final : public RQBDataHelper {
 public:
  std::optional<std::string> getKey() override;
  std::optional<std::string> getValue() override;
};
