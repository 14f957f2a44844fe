// "SDKVersion": the library's own build version.
#pragma once

#include "DataHelpers/RQBDataHelper.h"

class RQB_EXPORT RQBSDKVersionDataHelper final : public RQBDataHelper {
 public:
  std::optional<std::string> getKey() override;
  std::optional<std::string> getValue() override;
};
