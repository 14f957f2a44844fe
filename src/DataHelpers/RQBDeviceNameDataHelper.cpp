#include "DataHelpers/RQBDeviceNameDataHelper.h"

#include "Constants/RQBConstantTexts.h"
#include "Platform/Device.h"
#include "Platform/Platform.h"

std::optional<std::string> RQBDeviceNameDataHelper::getKey() { return rqb::text::RQBVARDeviceName; }

std::optional<std::string> RQBDeviceNameDataHelper::getValue() {
  return rqb::CurrentPlatform().device->Name();
}
