// The user's locale on Linux, from the locale environment variables.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Platform/UserLocale.h"

namespace rqb {

// The locale variables of a process; empty when unset.
struct LocaleEnvironment {
  std::string language = {};  // LANGUAGE, gettext's colon-separated list
  std::string lc_all = {};
  std::string lc_messages = {};
  std::string lang = {};
};

struct LocaleReading {
  std::optional<std::string> language_code;
  std::optional<std::string> country_code;
  std::vector<std::string> preferred_languages;
};

// The current locale is the first set of LC_ALL, LC_MESSAGES and LANG, a
// POSIX name such as "pt_BR.UTF-8" or "sr_RS@latin" read through ICU; "C",
// "POSIX" and none at all are ICU's en_US_POSIX (language "en", country
// "US"). The preferred languages are the entries of LANGUAGE as language
// tags ("pt_BR" gives "pt-BR", "sr@latin" gives "sr-Latn"), else the current
// locale's tag; like gettext, LANGUAGE counts only when the locale is not C.
LocaleReading ReadLocale(const LocaleEnvironment& environment);

class LinuxUserLocale final : public UserLocale {
 public:
  // Each call reads ReadLocale() of the process environment at that time.
  std::optional<std::string> LanguageCode() const override;
  std::optional<std::string> CountryCode() const override;
  std::vector<std::string> PreferredLanguages() const override;
};

}  // namespace rqb
