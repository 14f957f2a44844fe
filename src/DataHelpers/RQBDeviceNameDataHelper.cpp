#include "DataHelpers/RQBDeviceNameDataHelper.h"

#include "Platform/Device.h"
#include "Platform/Platform.h"
#include "RQBehavior/RQBConstants.h"

std::optional<std::string> RQBDeviceNameDataHelper::getKey() { return RQBVARDeviceName; }

std::optional<std::string> RQBDeviceNameDataHelper::getValue() {
  return rqb::CurrentPlatform().device->Name();
}
