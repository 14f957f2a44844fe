// The device, locale, accessibility and store collectors against fakes.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <set>

#include "DataHelpers/RQBDataHelperRegistry.h"
#include "DataHelpers/RQBDeviceModelDataHelper.h"
#include "DataHelpers/RQBFreeDiskDataHelper.h"
#include "DataHelpers/RQBGuidedAccessDataHelper.h"
#include "DataHelpers/RQBKeyboardsDataHelper.h"
#include "DataHelpers/RQBLocationLanguageDataHelper.h"
#include "FakeDevicePlatform.h"
#include "Managers/RQBIdentityManager.h"
#include "RQBehavior/RQBehavior.h"
#include "Utils/Json/PrettyJsonWriter.h"

namespace rqb {
namespace {

using test::DevicePlatformTest;

class DeviceDataHelpers : public DevicePlatformTest {
 protected:
  DeviceDataHelpers() {
    // The switch collectors and the payments collector, from the library's table.
    for (const char* name : {"RQBClosedCaptionDataHelper", "RQBGuidedAccessDataHelper",
                             "RQBInvertedColorsDataHelper", "RQBMonoAudioDataHelper",
                             "RQBVoiceOverDataHelper", "RQBPaymentDataHelper"}) {
      classes_.Register(name, [name] { return RegistryClassLookup().CreateDataHelper(name); });
    }
  }

  // The variables of one run, as the profiling service parses them.
  static nlohmann::json CollectedVariables() {
    return nlohmann::json::parse(
        *WritePrettyJson(RQBIdentifyManager::getInstance().getDeviceData()));
  }

  template <typename Helper>
  static std::optional<std::string> ValueOf() {
    return Helper().getValue();
  }
};

TEST_F(DeviceDataHelpers, EachSwitchIsReportedUnderItsOwnKey) {
  fakes_.operating_system.version = {12, 4, 0};
  fakes_.application.can_make_payments = false;
  const std::vector<std::pair<bool test::FakeAccessibility::*, const char*>> switches = {
      {&test::FakeAccessibility::closed_captioning, "ClosedCaptioningEnabled"},
      {&test::FakeAccessibility::guided_access, "GuidedAccessEnabled"},
      {&test::FakeAccessibility::invert_colors, "InvertColorsEnabled"},
      {&test::FakeAccessibility::mono_audio, "MonoAudioEnabled"},
      {&test::FakeAccessibility::voice_over, "VoiceOverRunning"},
  };
  for (const auto& [on, key] : switches) {
    for (const auto& [each, unused] : switches) fakes_.accessibility.*each = each == on;
    const nlohmann::json variables = CollectedVariables();
    for (const auto& [other, other_key] : switches) {
      EXPECT_EQ(variables[other_key], other_key == key ? "true" : "false") << key << " on";
    }
    EXPECT_EQ(variables["PaymentsAllowed"], "false");
  }
}

TEST_F(DeviceDataHelpers, MachineNameIsReadFromAZeroedBufferOfAHundredBytes) {
  fakes_.device.machine_query_fails = true;
  EXPECT_EQ(ValueOf<RQBDeviceModelDataHelper>(), "");
  fakes_.device.machine_query_fails = false;
  // Longer than the buffer: the query writes 100 bytes and no terminator.
  fakes_.device.machine = std::string(99, 'a') + std::string(50, 'b');
  EXPECT_EQ(ValueOf<RQBDeviceModelDataHelper>(), std::string(99, 'a') + "b");
  fakes_.device.machine = "x86_64";
  EXPECT_EQ(ValueOf<RQBDeviceModelDataHelper>(), "x86_64");
  fakes_.device.machine = "bad\xff";
  EXPECT_EQ(ValueOf<RQBDeviceModelDataHelper>(), std::nullopt);
}

TEST_F(DeviceDataHelpers, LocaleEqualsLanguageOnlyForExactlyLanguageDashCountry) {
  struct Case {
    std::optional<std::string> language, country;
    std::vector<std::string> preferred;
    const char* expected;
  };
  const Case cases[] = {
      {"en", "US", {"en-US"}, "true"},
      {"en", "US", {"en"}, "false"},
      {"en", "US", {"en-GB"}, "false"},
      {"en", "US", {}, "false"},
      {"en", "US", {"en-us"}, "false"},
      {"en", "US", {"fr-FR", "en-US"}, "false"},
      {"zh", "CN", {"zh-Hans-CN"}, "false"},
      {"en", std::nullopt, {"en"}, "false"},
      {"en", std::nullopt, {"en-(null)"}, "true"},
  };
  for (const Case& c : cases) {
    fakes_.locale.language_code = c.language;
    fakes_.locale.country_code = c.country;
    fakes_.locale.preferred_languages = c.preferred;
    EXPECT_EQ(ValueOf<RQBLocationLanguageDataHelper>(), c.expected)
        << c.language.value_or("-") << " " << c.country.value_or("-") << " "
        << (c.preferred.empty() ? "none" : c.preferred.front());
  }
}

TEST_F(DeviceDataHelpers, KeyboardsAreQuotedOneByOneAndNeverEscaped) {
  auto& lists = fakes_.preferences.merged_lists;
  lists.clear();
  EXPECT_EQ(ValueOf<RQBKeyboardsDataHelper>(), "[]");
  lists["AppleKeyboards"] = {"en_US@sw=QWERTY;hw=Automatic"};
  EXPECT_EQ(ValueOf<RQBKeyboardsDataHelper>(), "[\"en_US@sw=QWERTY;hw=Automatic\"]");
  lists["AppleKeyboards"] = {"us", "de(nodeadkeys)", "odd\"one"};
  EXPECT_EQ(ValueOf<RQBKeyboardsDataHelper>(), "[\"us\",\"de(nodeadkeys)\",\"odd\"one\"]");
}

TEST_F(DeviceDataHelpers, FreeDiskSpaceIsZeroWhenTheFileSystemCannotBeExamined) {
  fakes_.file_system.free_bytes = {{"/var/mobile/Documents", 18446744073709551615u}};
  EXPECT_EQ(ValueOf<RQBFreeDiskDataHelper>(), "18446744073709551615");
  fakes_.file_system.free_bytes = {{"/var/mobile/Documents", 0}};
  EXPECT_EQ(ValueOf<RQBFreeDiskDataHelper>(), "0");
  fakes_.file_system.free_bytes.clear();
  EXPECT_EQ(ValueOf<RQBFreeDiskDataHelper>(), "0");
  fakes_.file_system.documents_directory = std::nullopt;
  EXPECT_EQ(ValueOf<RQBFreeDiskDataHelper>(), "0");
}

TEST_F(DeviceDataHelpers, GuidedAccessIsUnknownFromVersionThirteenOn) {
  fakes_.accessibility.guided_access = true;
  for (const auto& [version, expected] :
       std::vector<std::pair<OperatingSystemVersion, const char*>>{{{12, 4, 0}, "true"},
                                                                   {{12, 9, 9}, "true"},
                                                                   {{13, 0, 0}, "unknown"},
                                                                   {{13, 0, 1}, "unknown"},
                                                                   {{14, 3, 0}, "unknown"}}) {
    fakes_.operating_system.version = version;
    EXPECT_EQ(ValueOf<RQBGuidedAccessDataHelper>(), expected)
        << version.major << "." << version.minor;
  }
  fakes_.operating_system.version = {12, 4, 0};
  fakes_.accessibility.guided_access = false;
  EXPECT_EQ(ValueOf<RQBGuidedAccessDataHelper>(), "false");
}

}  // namespace
}  // namespace rqb
