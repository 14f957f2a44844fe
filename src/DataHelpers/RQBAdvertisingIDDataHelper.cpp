#include "DataHelpers/RQBAdvertisingIDDataHelper.h"

#include "Platform/ApplicationServices.h"
#include "Platform/Platform.h"
#include "RQBehavior/RQBConstants.h"

std::optional<std::string> RQBAdvertisingIDDataHelper::getKey() { return RQBVARAdvertisingId; }

std::optional<std::string> RQBAdvertisingIDDataHelper::getValue() {
  return rqb::CurrentPlatform().application->AdvertisingIdentifier();
}
