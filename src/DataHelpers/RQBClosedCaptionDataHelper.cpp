#include "DataHelpers/RQBClosedCaptionDataHelper.h"

#include "Constants/RQBConstantTexts.h"
#include "Platform/Accessibility.h"
#include "Platform/Platform.h"
#include "Utils/Converter/RQBConverterUtil.h"

std::optional<std::string> RQBClosedCaptionDataHelper::getKey() {
  return rqb::text::RQBVARClosedCaptioningEnabled;
}

std::optional<std::string> RQBClosedCaptionDataHelper::getValue() {
  return RQBConverterUtil::booleanToString(
      rqb::CurrentPlatform().accessibility->IsClosedCaptioningEnabled());
}
