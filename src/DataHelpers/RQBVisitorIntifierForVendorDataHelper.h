// "VisitorIdentifierForVendor": the identifier this vendor's applications
// share on the device. The class name's spelling is part of the interface.
#pragma once

#include "DataHelpers/RQBDataHelper.h"

class RQB_EXPORT RQBVisitorIntifierForVendorDataHelper final : public RQBDataHelper {
 public:
  std::optional<std::string> getKey() override;
  std::optional<std::string> getValue() override;
};
