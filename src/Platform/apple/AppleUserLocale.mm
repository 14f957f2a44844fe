// The current locale and the user's preferred languages, through NSLocale.
#include "Platform/UserLocale.h"
#include "Platform/apple/AppleBridge.h"
#include "Platform/apple/AppleProviders.h"

namespace rqb::apple {
namespace {

std::optional<std::string> CurrentLocaleEntry(NSLocaleKey key) {
  return CallPlatform([&] {
    @autoreleasepool {
      return DescriptionText([NSLocale.currentLocale objectForKey:key]);
    }
  });
}

class AppleUserLocale final : public UserLocale {
 public:
  std::optional<std::string> LanguageCode() const override {
    return CurrentLocaleEntry(NSLocaleLanguageCode);
  }
  std::optional<std::string> CountryCode() const override {
    return CurrentLocaleEntry(NSLocaleCountryCode);
  }
  std::vector<std::string> PreferredLanguages() const override {
    return CallPlatform([] {
      @autoreleasepool {
        std::vector<std::string> languages;
        for (NSString* language in NSLocale.preferredLanguages) {
          if (std::optional<std::string> text = ToText(language)) languages.push_back(*text);
        }
        return languages;
      }
    });
  }
};

}  // namespace

UserLocale* NewUserLocale() { return new AppleUserLocale(); }

}  // namespace rqb::apple
