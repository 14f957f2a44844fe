#include "DataHelpers/RQBUniqueIdentifierDataHelper.h"

#include "Constants/RQBConstantTexts.h"
#include "Platform/Platform.h"
#include "Platform/Uuid.h"

std::optional<std::string> RQBUniqueIdentifierDataHelper::getKey() {
  return rqb::text::RQBVARDeviceGeneratedId;
}

std::optional<std::string> RQBUniqueIdentifierDataHelper::getValue() {
  // Whatever non-empty text is stored is the identifier, unchecked. An empty
  // entry, or one that is not text, is replaced.
  const std::optional<rqb::PreferenceObject> stored = getkeyFromUserData();
  const std::string* text = stored ? std::get_if<std::string>(&*stored) : nullptr;
  if (text != nullptr && !text->empty()) return *text;
  return genUserDataKey();
}

std::optional<rqb::PreferenceObject> RQBUniqueIdentifierDataHelper::getkeyFromUserData() {
  return rqb::CurrentPlatform().preferences->ObjectForKey(rqb::text::RQBVARDeviceGeneratedId);
}

std::string RQBUniqueIdentifierDataHelper::genUserDataKey() {
  rqb::Preferences& preferences = *rqb::CurrentPlatform().preferences;
  std::string identifier = rqb::NewUuidString();
  preferences.SetString(rqb::text::RQBVARDeviceGeneratedId, identifier);
  // A failed write is not reported: this process keeps the identifier, and
  // the next process makes another one.
  preferences.Synchronize();
  return identifier;
}
