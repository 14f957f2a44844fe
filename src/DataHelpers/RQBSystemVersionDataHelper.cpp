#include "DataHelpers/RQBSystemVersionDataHelper.h"

#include "Platform/Device.h"
#include "Platform/Platform.h"
#include "RQBehavior/RQBConstants.h"

std::optional<std::string> RQBSystemVersionDataHelper::getKey() { return RQBVARSystemVersion; }

std::optional<std::string> RQBSystemVersionDataHelper::getValue() {
  return rqb::CurrentPlatform().device->SystemVersion();
}
