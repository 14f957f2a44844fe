// "PaymentsAllowed": whether the user may make in-app payments.
#pragma once

#include "DataHelpers/RQBDataHelper.h"

class RQB_EXPORT RQBPaymentDataHelper final : public RQBDataHelper {
 public:
  std::optional<std::string> getKey() override;
  std::optional<std::string> getValue() override;
};
