#include "DataHelpers/RQBLanguageCodeDataHelper.h"

#include "Constants/RQBConstantTexts.h"
#include "Platform/Platform.h"
#include "Platform/UserLocale.h"

std::optional<std::string> RQBLanguageCodeDataHelper::getKey() {
  return rqb::text::RQBVARLanguageCode;
}

std::optional<std::string> RQBLanguageCodeDataHelper::getValue() {
  return rqb::CurrentPlatform().locale->LanguageCode();
}
