// "Carrier": the names of the cellular carriers, as a JSON array.
#pragma once

#include "DataHelpers/RQBDataHelper.h"

class RQBCarrierDataHelper final : public RQBDataHelper {
 public:
  std::optional<std::string> getKey() override;
  std::optional<std::string> getValue() override;
};
