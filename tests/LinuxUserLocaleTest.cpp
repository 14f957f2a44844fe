// The user's locale from the locale variables, read through ICU.
#include <gtest/gtest.h>

#include "Platform/linux/LinuxUserLocale.h"

namespace rqb {
namespace {

TEST(LinuxUserLocale, ReadsLanguageCountryAndPreferredLanguagesFromTheVariables) {
  struct Case {
    LocaleEnvironment environment;
    std::optional<std::string> language, country;
    std::vector<std::string> preferred;
  };
  const Case cases[] = {
      {{.lang = "en_US.UTF-8"}, "en", "US", {"en-US"}},
      {{.lang = "C.UTF-8"}, "en", "US", {"en-US"}},
      {{}, "en", "US", {"en-US"}},
      {{.language = "fr:de", .lang = "POSIX"}, "en", "US", {"en-US"}},
      {{.lc_all = "pt_BR.UTF-8", .lc_messages = "de_DE", .lang = "fr_FR"}, "pt", "BR", {"pt-BR"}},
      {{.lc_messages = "de_DE.UTF-8", .lang = "fr_FR"}, "de", "DE", {"de-DE"}},
      {{.language = "pt_BR:en::C", .lang = "de_AT.UTF-8"}, "de", "AT", {"pt-BR", "en"}},
      {{.lang = "sr_RS@latin"}, "sr", "RS", {"sr-Latn-RS"}},
      {{.lang = "de_DE.ISO-8859-15@euro"}, "de", "DE", {"de-DE"}},
      {{.lang = "fr"}, "fr", std::nullopt, {"fr"}},
      {{.language = "zh_Hans_CN", .lang = "zh_CN.GB18030"}, "zh", "CN", {"zh-Hans-CN"}},
  };
  for (const Case& c : cases) {
    const LocaleReading reading = ReadLocale(c.environment);
    const std::string name = c.environment.lc_all + "|" + c.environment.lc_messages + "|" +
                             c.environment.lang + "|" + c.environment.language;
    EXPECT_EQ(reading.language_code, c.language) << name;
    EXPECT_EQ(reading.country_code, c.country) << name;
    EXPECT_EQ(reading.preferred_languages, c.preferred) << name;
  }
}

}  // namespace
}  // namespace rqb
