// "Platform": the name of the platform family the library reports, "iOS".
#pragma once

#include "DataHelpers/RQBDataHelper.h"

class RQB_EXPORT RQBPlatformDataHelper final : public RQBDataHelper {
 public:
  std::optional<std::string> getKey() override;
  std::optional<std::string> getValue() override;
};
