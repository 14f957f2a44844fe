#include "DataHelpers/RQBInvertedColorsDataHelper.h"

#include "Constants/RQBConstantTexts.h"
#include "Platform/Accessibility.h"
#include "Platform/Platform.h"
#include "Utils/Converter/RQBConverterUtil.h"

std::optional<std::string> RQBInvertedColorsDataHelper::getKey() {
  return rqb::text::RQBVARInvertColorsEnabled;
}

std::optional<std::string> RQBInvertedColorsDataHelper::getValue() {
  return RQBConverterUtil::booleanToString(
      rqb::CurrentPlatform().accessibility->IsInvertColorsEnabled());
}
