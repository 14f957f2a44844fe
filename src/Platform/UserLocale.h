// The user's locale and preferred languages.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace rqb {

// Called from any thread, concurrently; never throws.
class UserLocale {
 public:
  UserLocale() = default;
  UserLocale(const UserLocale&) = delete;
  UserLocale& operator=(const UserLocale&) = delete;
  virtual ~UserLocale() = default;

  // The current locale's language code ("en") and country code ("US");
  // nothing when the locale has no such part.
  virtual std::optional<std::string> LanguageCode() const = 0;
  virtual std::optional<std::string> CountryCode() const = 0;
  // The user's languages, most preferred first, as language tags ("en-US",
  // "zh-Hans-CN"). May be empty.
  virtual std::vector<std::string> PreferredLanguages() const = 0;
};

}  // namespace rqb
