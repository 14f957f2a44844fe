#include "DataHelpers/RQBSystemVersionDataHelper.h"

#include "Constants/RQBConstantTexts.h"
#include "Platform/Device.h"
#include "Platform/Platform.h"

std::optional<std::string> RQBSystemVersionDataHelper::getKey() {
  return rqb::text::RQBVARSystemVersion;
}

std::optional<std::string> RQBSystemVersionDataHelper::getValue() {
  return rqb::CurrentPlatform().device->SystemVersion();
}
