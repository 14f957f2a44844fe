// "FreeDiskSpace": free bytes on the file system of the documents
// directory, in decimal digits; "0" when it cannot be examined.
#pragma once

#include "DataHelpers/RQBDataHelper.h"

class RQB_EXPORT RQBFreeDiskDataHelper final : public RQBDataHelper {
 public:
  std::optional<std::string> getKey() override;
  std::optional<std::string> getValue() override;
};
