#include "DataHelpers/RQBVisitorIntifierForVendorDataHelper.h"

#include "Platform/Device.h"
#include "Platform/Platform.h"
#include "RQBehavior/RQBConstants.h"

std::optional<std::string> RQBVisitorIntifierForVendorDataHelper::getKey() {
  return RQBVARVisitorIdentifierForVendor;
}

std::optional<std::string> RQBVisitorIntifierForVendorDataHelper::getValue() {
  return rqb::CurrentPlatform().device->IdentifierForVendor();
}
