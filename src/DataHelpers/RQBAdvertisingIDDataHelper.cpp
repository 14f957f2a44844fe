#include "DataHelpers/RQBAdvertisingIDDataHelper.h"

#include "Constants/RQBConstantTexts.h"
#include "Platform/ApplicationServices.h"
#include "Platform/Platform.h"

std::optional<std::string> RQBAdvertisingIDDataHelper::getKey() {
  return rqb::text::RQBVARAdvertisingId;
}

std::optional<std::string> RQBAdvertisingIDDataHelper::getValue() {
  return rqb::CurrentPlatform().application->AdvertisingIdentifier();
}
