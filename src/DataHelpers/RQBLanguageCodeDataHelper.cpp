#include "DataHelpers/RQBLanguageCodeDataHelper.h"

#include "Platform/Platform.h"
#include "Platform/UserLocale.h"
#include "RQBehavior/RQBConstants.h"

std::optional<std::string> RQBLanguageCodeDataHelper::getKey() { return RQBVARLanguageCode; }

std::optional<std::string> RQBLanguageCodeDataHelper::getValue() {
  return rqb::CurrentPlatform().locale->LanguageCode();
}
