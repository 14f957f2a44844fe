// "DeviceGeneratedId": an identifier the library makes once and keeps in the
// host application's preferences under "DeviceGeneratedId", so that every
// later profile of the installation carries the same text.
#pragma once

#include <optional>
#include <string>

#include "DataHelpers/RQBDataHelper.h"
#include "Platform/Preferences.h"

class RQB_EXPORT RQBUniqueIdentifierDataHelper final : public RQBDataHelper {
 public:
  std::optional<std::string> getKey() override;
  // The stored text when it is non-empty text, as it stands; otherwise a new
  // identifier, stored first.
  std::optional<std::string> getValue() override;

 private:
  // The entry stored under "DeviceGeneratedId", if any.
  std::optional<rqb::PreferenceObject> getkeyFromUserData();
  // A new random UUID text, stored under "DeviceGeneratedId" and written out
  // at once; returned even when the write fails.
  std::string genUserDataKey();
};
