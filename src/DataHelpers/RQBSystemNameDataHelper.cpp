#include "DataHelpers/RQBSystemNameDataHelper.h"

#include "Platform/Device.h"
#include "Platform/Platform.h"
#include "RQBehavior/RQBConstants.h"

std::optional<std::string> RQBSystemNameDataHelper::getKey() { return RQBVARSystemName; }

std::optional<std::string> RQBSystemNameDataHelper::getValue() {
  return rqb::CurrentPlatform().device->SystemName();
}
