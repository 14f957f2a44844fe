// "MonoAudioEnabled": "true" or "false".
#pragma once

#include "DataHelpers/RQBDataHelper.h"

class RQB_EXPORT RQBMonoAudioDataHelper final : public RQBDataHelper {
 public:
  std::optional<std::string> getKey() override;
  std::optional<std::string> getValue() override;
};
