#include "DataHelpers/RQBClosedCaptionDataHelper.h"

#include "Platform/Accessibility.h"
#include "Platform/Platform.h"
#include "RQBehavior/RQBConstants.h"
#include "Utils/Converter/RQBConverterUtil.h"

std::optional<std::string> RQBClosedCaptionDataHelper::getKey() {
  return RQBVARClosedCaptioningEnabled;
}

std::optional<std::string> RQBClosedCaptionDataHelper::getValue() {
  return RQBConverterUtil::booleanToString(
      rqb::CurrentPlatform().accessibility->IsClosedCaptioningEnabled());
}
