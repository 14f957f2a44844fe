#include "DataHelpers/RQBPlatformDataHelper.h"

#include "RQBehavior/RQBConstants.h"

std::optional<std::string> RQBPlatformDataHelper::getKey() { return RQBVARPlatform; }

std::optional<std::string> RQBPlatformDataHelper::getValue() { return "iOS"; }
