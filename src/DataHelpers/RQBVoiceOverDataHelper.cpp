#include "DataHelpers/RQBVoiceOverDataHelper.h"

#include "Constants/RQBConstantTexts.h"
#include "Platform/Accessibility.h"
#include "Platform/Platform.h"
#include "Utils/Converter/RQBConverterUtil.h"

std::optional<std::string> RQBVoiceOverDataHelper::getKey() {
  return rqb::text::RQBVARVoiceOverRunning;
}

std::optional<std::string> RQBVoiceOverDataHelper::getValue() {
  return RQBConverterUtil::booleanToString(
      rqb::CurrentPlatform().accessibility->IsVoiceOverRunning());
}
