#include "DataHelpers/RQBSDKVersionDataHelper.h"

#include "Platform/LibraryBundle.h"
#include "Platform/Platform.h"
#include "RQBehavior/RQBConstants.h"

std::optional<std::string> RQBSDKVersionDataHelper::getKey() { return RQBVARSDKVersion; }

std::optional<std::string> RQBSDKVersionDataHelper::getValue() {
  return rqb::CurrentPlatform().library_bundle->Version();
}
