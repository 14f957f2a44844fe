#include "DataHelpers/RQBMonoAudioDataHelper.h"

#include "Platform/Accessibility.h"
#include "Platform/Platform.h"
#include "RQBehavior/RQBConstants.h"
#include "Utils/Converter/RQBConverterUtil.h"

std::optional<std::string> RQBMonoAudioDataHelper::getKey() { return RQBVARMonoAudioEnabled; }

std::optional<std::string> RQBMonoAudioDataHelper::getValue() {
  return RQBConverterUtil::booleanToString(
      rqb::CurrentPlatform().accessibility->IsMonoAudioEnabled());
}
