// Also "SystemVersion": the same text as RQBSystemVersionDataHelper, under the
// same key, so that a profile holds one "SystemVersion" and no "OSVersion".
#pragma once

#include "DataHelpers/RQBDataHelper.h"

class RQB_EXPORT RQBOSVersionDataHelper final : public RQBDataHelper {
 public:
  std::optional<std::string> getKey() override;
  std::optional<std::string> getValue() override;
};
