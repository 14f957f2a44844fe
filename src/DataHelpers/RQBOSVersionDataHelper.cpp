#include "DataHelpers/RQBOSVersionDataHelper.h"

#include "Platform/Device.h"
#include "Platform/Platform.h"
#include "RQBehavior/RQBConstants.h"

std::optional<std::string> RQBOSVersionDataHelper::getKey() { return RQBVARSystemVersion; }

std::optional<std::string> RQBOSVersionDataHelper::getValue() {
  return rqb::CurrentPlatform().device->SystemVersion();
}
