#include "DataHelpers/RQBMonoAudioDataHelper.h"

#include "Constants/RQBConstantTexts.h"
#include "Platform/Accessibility.h"
#include "Platform/Platform.h"
#include "Utils/Converter/RQBConverterUtil.h"

std::optional<std::string> RQBMonoAudioDataHelper::getKey() {
  return rqb::text::RQBVARMonoAudioEnabled;
}

std::optional<std::string> RQBMonoAudioDataHelper::getValue() {
  return RQBConverterUtil::booleanToString(
      rqb::CurrentPlatform().accessibility->IsMonoAudioEnabled());
}
