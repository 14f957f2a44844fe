#include "Platform/linux/LinuxUserLocale.h"

#include <unicode/locid.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "Platform/ForkGate.h"
#include "Platform/RunReadings.h"
#include "Platform/linux/LinuxEnvironment.h"
#include "Utils/Text/Utf8.h"

namespace rqb {
namespace {

bool IsPosixLocale(std::string_view name) {
  return name.empty() || name == "C" || name == "POSIX" || name.starts_with("C.");
}

// "ll_CC.codeset@modifier" in ICU's terms. Of the modifiers only the scripts
// change the language; others ("@euro") are left out.
icu::Locale LocaleOfPosixName(std::string_view name) {
  if (IsPosixLocale(name)) return icu::Locale("en_US_POSIX");
  std::string_view modifier;
  if (const std::size_t at = name.find('@'); at != std::string_view::npos) {
    modifier = name.substr(at + 1);
    name = name.substr(0, at);
  }
  name = name.substr(0, name.find('.'));
  std::string id(name);
  const char* script = modifier == "latin" ? "Latn" : modifier == "cyrillic" ? "Cyrl" : nullptr;
  if (script != nullptr) id.insert(std::min(id.find('_'), id.size()), std::string("_") + script);
  return icu::Locale(id.c_str());
}

std::optional<std::string> NonEmpty(const char* text) {
  if (text == nullptr || *text == '\0') return std::nullopt;
  return TextOrNil(text);
}

// Language, script and region joined by "-": "en-US", "zh-Hans-CN".
std::optional<std::string> LanguageTag(const icu::Locale& locale) {
  std::optional<std::string> tag = NonEmpty(locale.getLanguage());
  if (!tag) return std::nullopt;
  for (const char* part : {locale.getScript(), locale.getCountry()}) {
    if (*part != '\0') *tag += std::string("-") + part;
  }
  return TextOrNil(std::move(tag));
}

std::string Environment(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

}  // namespace

LocaleReading ReadLocale(const LocaleEnvironment& environment) {
  std::string_view current = environment.lc_all;
  if (current.empty()) current = environment.lc_messages;
  if (current.empty()) current = environment.lang;
  const icu::Locale locale = LocaleOfPosixName(current);

  LocaleReading reading;
  reading.language_code = NonEmpty(locale.getLanguage());
  reading.country_code = NonEmpty(locale.getCountry());
  if (!IsPosixLocale(current)) {
    for (const std::string_view entry : SplitList(environment.language, ':')) {
      if (IsPosixLocale(entry)) continue;
      if (auto tag = LanguageTag(LocaleOfPosixName(entry))) {
        reading.preferred_languages.push_back(std::move(*tag));
      }
    }
  }
  if (reading.preferred_languages.empty()) {
    if (auto tag = LanguageTag(locale)) reading.preferred_languages.push_back(std::move(*tag));
  }
  return reading;
}

namespace {

// The collectors of one run ask it three questions (language, country,
// preferred languages): one reading answers them all.
LocaleReading ReadProcessLocale() {
  static const char kRunReading = 0;
  return RunReadings::Shared<LocaleReading>(&kRunReading, [] {
    const ForkGuard icu_takes_locks_of_its_own;
    return ReadLocale({Environment("LANGUAGE"), Environment("LC_ALL"), Environment("LC_MESSAGES"),
                       Environment("LANG")});
  });
}

}  // namespace

std::optional<std::string> LinuxUserLocale::LanguageCode() const {
  return ReadProcessLocale().language_code;
}

std::optional<std::string> LinuxUserLocale::CountryCode() const {
  return ReadProcessLocale().country_code;
}

std::vector<std::string> LinuxUserLocale::PreferredLanguages() const {
  return ReadProcessLocale().preferred_languages;
}

}  // namespace rqb
