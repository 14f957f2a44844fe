#include "DataHelpers/RQBInvertedColorsDataHelper.h"

#include "Platform/Accessibility.h"
#include "Platform/Platform.h"
#include "RQBehavior/RQBConstants.h"
#include "Utils/Converter/RQBConverterUtil.h"

std::optional<std::string> RQBInvertedColorsDataHelper::getKey() {
  return RQBVARInvertColorsEnabled;
}

std::optional<std::string> RQBInvertedColorsDataHelper::getValue() {
  return RQBConverterUtil::booleanToString(
      rqb::CurrentPlatform().accessibility->IsInvertColorsEnabled());
}
