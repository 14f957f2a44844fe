#include "DataHelpers/RQBVoiceOverDataHelper.h"

#include "Platform/Accessibility.h"
#include "Platform/Platform.h"
#include "RQBehavior/RQBConstants.h"
#include "Utils/Converter/RQBConverterUtil.h"

std::optional<std::string> RQBVoiceOverDataHelper::getKey() { return RQBVARVoiceOverRunning; }

std::optional<std::string> RQBVoiceOverDataHelper::getValue() {
  return RQBConverterUtil::booleanToString(
      rqb::CurrentPlatform().accessibility->IsVoiceOverRunning());
}
