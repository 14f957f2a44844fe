// "InstalledKeyboards": the keyboards the user set up, as a list of quoted
// identifiers, e.g. ["en_US@sw=QWERTY;hw=Automatic","emoji@sw=Emoji"].
#pragma once

#include "DataHelpers/RQBDataHelper.h"

class RQB_EXPORT RQBKeyboardsDataHelper final : public RQBDataHelper {
 public:
  std::optional<std::string> getKey() override;
  std::optional<std::string> getValue() override;
};
