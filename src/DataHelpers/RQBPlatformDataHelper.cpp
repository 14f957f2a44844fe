#include "DataHelpers/RQBPlatformDataHelper.h"

#include "Constants/RQBConstantTexts.h"

std::optional<std::string> RQBPlatformDataHelper::getKey() { return rqb::text::RQBVARPlatform; }

std::optional<std::string> RQBPlatformDataHelper::getValue() { return "iOS"; }
