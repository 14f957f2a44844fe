#include "DataHelpers/RQBGuidedAccessDataHelper.h"

#include "Constants/RQBConstantTexts.h"
#include "Platform/Accessibility.h"
#include "Platform/OperatingSystem.h"
#include "Platform/Platform.h"
#include "Utils/Converter/RQBConverterUtil.h"

std::optional<std::string> RQBGuidedAccessDataHelper::getKey() {
  return rqb::text::RQBVARGuidedAccessEnabled;
}

std::optional<std::string> RQBGuidedAccessDataHelper::getValue() {
  // The switch cannot be read from version 13 on; the answer there is
  // "unknown" without asking.
  if (rqb::IsOperatingSystemAtLeastVersion({13, 0, 0})) return "unknown";
  return RQBConverterUtil::booleanToString(
      rqb::CurrentPlatform().accessibility->IsGuidedAccessEnabled());
}
