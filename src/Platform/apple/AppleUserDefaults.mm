// The host application's preferences: the standard NSUserDefaults.
#include "Platform/Preferences.h"
#include "Platform/apple/AppleBridge.h"
#include "Platform/apple/AppleOptInReadings.h"
#include "Platform/apple/AppleProviders.h"

namespace rqb::apple {
namespace {

class AppleUserDefaults final : public Preferences {
 public:
  std::optional<PreferenceObject> ObjectForKey(std::string_view key) override {
    return CallPlatform([&]() -> std::optional<PreferenceObject> {
      @autoreleasepool {
        NSString* platform_key = ToNSString(key);
        if (platform_key == nil) return std::nullopt;
        id object = [[NSUserDefaults standardUserDefaults] objectForKey:platform_key];
        if (object == nil) return std::nullopt;
        if (![object isKindOfClass:[NSString class]]) return NonTextPreference{};
        // A string UTF-8 cannot hold counts as something other than text.
        if (std::optional<std::string> text = ToText(object)) return *text;
        return NonTextPreference{};
      }
    });
  }

  void SetString(std::string_view key, std::string_view value) override {
    CallPlatform([&] {
      @autoreleasepool {
        NSString* platform_key = ToNSString(key);
        NSString* platform_value = ToNSString(value);
        if (platform_key == nil || platform_value == nil) return;
        [[NSUserDefaults standardUserDefaults] setObject:platform_value forKey:platform_key];
      }
    });
  }

  bool Synchronize() override {
    return CallPlatform([] { return [[NSUserDefaults standardUserDefaults] synchronize] == YES; });
  }

  std::optional<std::vector<std::string>> MergedListForKey(std::string_view key) override {
    return MergedDefaultsList(key);
  }
};

}  // namespace

Preferences* NewPreferences() { return new AppleUserDefaults(); }

}  // namespace rqb::apple
