#include "DataHelpers/RQBSystemNameDataHelper.h"

#include "Constants/RQBConstantTexts.h"
#include "Platform/Device.h"
#include "Platform/Platform.h"

std::optional<std::string> RQBSystemNameDataHelper::getKey() { return rqb::text::RQBVARSystemName; }

std::optional<std::string> RQBSystemNameDataHelper::getValue() {
  return rqb::CurrentPlatform().device->SystemName();
}
