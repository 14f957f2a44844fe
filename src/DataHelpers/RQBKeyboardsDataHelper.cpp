#include "DataHelpers/RQBKeyboardsDataHelper.h"

#include <vector>

#include "Constants/RQBConstantTexts.h"
#include "Platform/Platform.h"
#include "Platform/Preferences.h"
#include "Utils/Converter/RQBConverterUtil.h"

std::optional<std::string> RQBKeyboardsDataHelper::getKey() {
  return rqb::text::RQBVARInstalledKeyboards;
}

std::optional<std::string> RQBKeyboardsDataHelper::getValue() {
  std::vector<std::string> quoted;
  if (const auto keyboards =
          rqb::CurrentPlatform().preferences->MergedListForKey("AppleKeyboards")) {
    // Each identifier is wrapped in quotes as it stands: nothing is escaped.
    for (const std::string& keyboard : *keyboards) quoted.push_back('"' + keyboard + '"');
  }
  return RQBConverterUtil::arrayToString(quoted);
}
