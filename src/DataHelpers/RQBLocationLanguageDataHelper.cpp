#include "DataHelpers/RQBLocationLanguageDataHelper.h"

#include <vector>

#include "Constants/RQBConstantTexts.h"
#include "Platform/Platform.h"
#include "Platform/UserLocale.h"
#include "Utils/Converter/RQBConverterUtil.h"

std::optional<std::string> RQBLocationLanguageDataHelper::getKey() {
  return rqb::text::RQBVARLocaleEqualsLanguage;
}

std::optional<std::string> RQBLocationLanguageDataHelper::getValue() {
  const rqb::UserLocale& locale = *rqb::CurrentPlatform().locale;
  // A missing part is written "(null)", so a locale without a country never
  // matches a real language tag.
  const std::string formed =
      locale.LanguageCode().value_or("(null)") + "-" + locale.CountryCode().value_or("(null)");
  const std::vector<std::string> preferred = locale.PreferredLanguages();
  return RQBConverterUtil::booleanToString(!preferred.empty() && preferred.front() == formed);
}
