// "JailBroken": whether the device carries the files of a jailbreak or a
// handler for the "cydia" URL scheme.
//
// The collection run asks for this collector under the name
// "RQBJailBreakDataHelper", which no class bears, so profiles never hold
// "JailBroken"; the class answers when it is created directly.
#pragma once

#include "DataHelpers/RQBDataHelper.h"

class RQB_EXPORT RQBJailBreakingDataHelper final : public RQBDataHelper {
 public:
  std::optional<std::string> getKey() override;
  // "true" at the first probe path that exists, else whether the "cydia"
  // scheme has a handler.
  std::optional<std::string> getValue() override;
};
