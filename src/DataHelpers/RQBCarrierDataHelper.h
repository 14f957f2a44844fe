// "Carrier": the names of the cellular carriers, as a JSON array.
#pragma once

#include "DataHelpers/RQBDataHelper.h"

class RQB_EXPORT RQBCarrierDataHelper final : public RQBDataHelper {
 public:
  std::optional<std::string> getKey() override;
  std::optional<std::string> getValue() override;
};
