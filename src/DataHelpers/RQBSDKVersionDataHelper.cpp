#include "DataHelpers/RQBSDKVersionDataHelper.h"

#include "Constants/RQBConstantTexts.h"
#include "Platform/LibraryBundle.h"
#include "Platform/Platform.h"

std::optional<std::string> RQBSDKVersionDataHelper::getKey() { return rqb::text::RQBVARSDKVersion; }

std::optional<std::string> RQBSDKVersionDataHelper::getValue() {
  return rqb::CurrentPlatform().library_bundle->Version();
}
