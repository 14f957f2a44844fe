// "LocaleEqualsLanguage": whether the first preferred language is exactly
// "<language>-<country>" of the current locale.
#pragma once

#include "DataHelpers/RQBDataHelper.h"

class RQB_EXPORT RQBLocationLanguageDataHelper final : public RQBDataHelper {
 public:
  std::optional<std::string> getKey() override;
  std::optional<std::string> getValue() override;
};
