// "LanguageCode": the current locale's language code, e.g. "en".
#pragma once

#include "DataHelpers/RQBDataHelper.h"

class RQB_EXPORT RQBLanguageCodeDataHelper final : public RQBDataHelper {
 public:
  std::optional<std::string> getKey() override;
  std::optional<std::string> getValue() override;
};
