// "ConnectedVia3G": whether the internet is reached over a cellular link, of any generation.
#pragma once

#include "DataHelpers/RQBDataHelper.h"

class RQB_EXPORT RQB3GDataHelper final : public RQBDataHelper {
 public:
  std::optional<std::string> getKey() override;
  std::optional<std::string> getValue() override;
};
