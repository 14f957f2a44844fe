#include "DataHelpers/RQBOSVersionDataHelper.h"

#include "Constants/RQBConstantTexts.h"
#include "Platform/Device.h"
#include "Platform/Platform.h"

std::optional<std::string> RQBOSVersionDataHelper::getKey() {
  return rqb::text::RQBVARSystemVersion;
}

std::optional<std::string> RQBOSVersionDataHelper::getValue() {
  return rqb::CurrentPlatform().device->SystemVersion();
}
