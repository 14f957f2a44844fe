#include "DataHelpers/RQBVisitorIntifierForVendorDataHelper.h"

#include "Constants/RQBConstantTexts.h"
#include "Platform/Device.h"
#include "Platform/Platform.h"

std::optional<std::string> RQBVisitorIntifierForVendorDataHelper::getKey() {
  return rqb::text::RQBVARVisitorIdentifierForVendor;
}

std::optional<std::string> RQBVisitorIntifierForVendorDataHelper::getValue() {
  return rqb::CurrentPlatform().device->IdentifierForVendor();
}
