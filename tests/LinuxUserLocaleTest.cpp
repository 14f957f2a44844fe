// The user's locale from the locale variables, read through ICU.
#include <gtest/gtest.h>

#include "Platform/linux/LinuxUserLocale.h"

namespace rqb {
namespace {

TEST(LinuxUserLocale, ReadsLanguageCountryAndPreferredLanguagesFromTheVariables) {
  using Case = std::tuple<LocaleEnvironment, std::optional<std::string>, std::optional<std::string>,
                          std::vector<std::string>>;
  for (const auto& [environment, language, country, preferred] : std::vector<Case>{
           {{.lang = "en_US.UTF-8"}, "en", "US", {"en-US"}},
           {{.language = "fr:de", .lang = "POSIX"}, "en", "US", {"en-US"}},
           {{.lc_all = "pt_BR.UTF-8", .lc_messages = "de_DE", .lang = "fr_FR"},
            "pt",
            "BR",
            {"pt-BR"}},
           {{.lc_messages = "de_DE.UTF-8", .lang = "fr_FR"}, "de", "DE", {"de-DE"}},
           {{.language = "pt_BR:en::C", .lang = "de_AT.UTF-8"}, "de", "AT", {"pt-BR", "en"}},
           {{.lang = "sr_RS@latin"}, "sr", "RS", {"sr-Latn-RS"}},
           {{.lang = "fr"}, "fr", std::nullopt, {"fr"}},
           {{.language = "zh_Hans_CN", .lang = "zh_CN.GB18030"}, "zh", "CN", {"zh-Hans-CN"}},
       }) {
    SCOPED_TRACE(environment.lc_all + "|" + environment.lc_messages + "|" + environment.lang + "|" +
                 environment.language);
    const LocaleReading reading = ReadLocale(environment);
    EXPECT_EQ(reading.language_code, language);
    EXPECT_EQ(reading.country_code, country);
    EXPECT_EQ(reading.preferred_languages, preferred);
  }
}

}  // namespace
}  // namespace rqb
