// "AdvertisingId": the advertising identifier, whatever the user's tracking
// choice.
#pragma once

#include "DataHelpers/RQBDataHelper.h"

class RQB_EXPORT RQBAdvertisingIDDataHelper final : public RQBDataHelper {
 public:
  std::optional<std::string> getKey() override;
  std::optional<std::string> getValue() override;
};
