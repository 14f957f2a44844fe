// The device, locale, accessibility, store, battery and jailbreak collectors
// against fakes.
#include <gtest/gtest.h>

#include "DataHelpers/RQBDataHelperRegistry.h"
#include "FakeDevicePlatform.h"
#include "Utils/Converter/RQBConverterUtil.h"

namespace rqb {
namespace {

using DeviceDataHelpers = test::DevicePlatformTest;

// What the collector of class `name` reports now.
std::optional<std::string> ValueOf(const char* name) {
  return RegistryClassLookup().CreateDataHelper(name)->getValue();
}

TEST_F(DeviceDataHelpers, EachSwitchIsReadByItsOwnCollectorAndGuidedAccessOnlyBeforeThirteen) {
  fakes_.operating_system.version = {12, 9, 9};
  test::FakeAccessibility& a = fakes_.accessibility;
  const std::vector<std::pair<bool*, const char*>> switches = {
      {&a.closed_captioning, "RQBClosedCaptionDataHelper"},
      {&a.guided_access, "RQBGuidedAccessDataHelper"},
      {&a.invert_colors, "RQBInvertedColorsDataHelper"},
      {&a.mono_audio, "RQBMonoAudioDataHelper"},
      {&a.voice_over, "RQBVoiceOverDataHelper"}};
  for (const auto& [on, unused] : switches) {
    for (const auto& [each, collector] : switches) *each = each == on;
    for (const auto& [each, collector] : switches) {
      EXPECT_EQ(ValueOf(collector), *each ? "true" : "false") << collector;
    }
  }
  // From version 13 on the guided-access switch cannot be read.
  fakes_.accessibility.guided_access = true;
  fakes_.operating_system.version = {13, 0, 0};
  EXPECT_EQ(ValueOf("RQBGuidedAccessDataHelper"), "unknown");
}

TEST_F(DeviceDataHelpers, MachineNameIsReadFromAZeroedBufferOfAHundredBytes) {
  fakes_.device.machine_query_fails = true;
  EXPECT_EQ(ValueOf("RQBDeviceModelDataHelper"), "");
  fakes_.device.machine_query_fails = false;
  // Longer than the buffer: the query writes 100 bytes and no terminator.
  fakes_.device.machine = std::string(99, 'a') + std::string(50, 'b');
  EXPECT_EQ(ValueOf("RQBDeviceModelDataHelper"), std::string(99, 'a') + "b");
  fakes_.device.machine = "bad\xff";
  EXPECT_EQ(ValueOf("RQBDeviceModelDataHelper"), std::nullopt);
}

TEST_F(DeviceDataHelpers, LocaleEqualsLanguageOnlyWhenTheFirstPreferredIsLanguageDashCountry) {
  using Case = std::tuple<std::optional<std::string>, std::vector<std::string>, std::string>;
  for (const auto& [country, preferred, expected] : std::vector<Case>{
           {"US", {"en-US"}, "true"},
           {"US", {"en"}, "false"},
           {"US", {"en-GB"}, "false"},
           {"US", {}, "false"},
           {"US", {"fr-FR", "en-US"}, "false"},
           {"US", {"en-Latn-US"}, "false"},
           {std::nullopt, {"en"}, "false"},
           {std::nullopt, {"en-(null)"}, "true"},
       }) {
    fakes_.locale.country_code = country;
    fakes_.locale.preferred_languages = preferred;
    EXPECT_EQ(ValueOf("RQBLocationLanguageDataHelper"), expected)
        << country.value_or("no country") << " " << ::testing::PrintToString(preferred);
  }
}

TEST_F(DeviceDataHelpers, KeyboardsAreQuotedOneByOneAndNeverEscaped) {
  fakes_.preferences.keyboards = std::nullopt;
  EXPECT_EQ(ValueOf("RQBKeyboardsDataHelper"), "[]");
  fakes_.preferences.keyboards = {"us", "de(nodeadkeys)", "odd\"one"};
  EXPECT_EQ(ValueOf("RQBKeyboardsDataHelper"), "[\"us\",\"de(nodeadkeys)\",\"odd\"one\"]");
}

// No collector passes a missing list; the text stays as the platform writes it.
TEST(RQBConverterUtil, AMissingListIsWrittenAsNullInBrackets) {
  EXPECT_EQ(RQBConverterUtil::arrayToString(std::nullopt), "[(null)]");
}

TEST_F(DeviceDataHelpers, FreeDiskSpaceIsZeroWhenTheFileSystemCannotBeExamined) {
  fakes_.file_system.free_bytes = std::nullopt;
  EXPECT_EQ(ValueOf("RQBFreeDiskDataHelper"), "0");
}

// The fake reads unknown and -1.0 while monitoring is off, so each text below
// also shows that monitoring was on while the battery was read.
TEST_F(DeviceDataHelpers, BatteryIsReadWithMonitoringOnAndWrittenInSinglePrecision) {
  using Case = std::tuple<long, float, std::string>;
  for (const auto& [state, level, expected] : std::vector<Case>{
           {kBatteryStateCharging, 0.85f, R"({ "s": "c", "l": 85.000000 })"},
           {kBatteryStateUnplugged, 0.15f, R"({ "s": "u", "l": 15.000001 })"},
           {kBatteryStateFull, 1.0f, R"({ "s": "f", "l": 100.000000 })"},
           {kBatteryStateUnknown, -1.0f, R"({ "s": "unknown", "l": -100.000000 })"},
           {4, 0.5f, R"({ "s": "unknown", "l": 50.000000 })"},
           {-1, 0.5f, R"({ "s": "unknown", "l": 50.000000 })"},
       }) {
    SCOPED_TRACE(expected);
    fakes_.device.battery_state = state;
    fakes_.device.battery_level = level;
    EXPECT_EQ(ValueOf("RQBBatteryInfoDataHelper"), expected);
    EXPECT_EQ(ValueOf("RQBBatteryDataHelper"), expected);
    EXPECT_FALSE(fakes_.device.battery_monitoring) << "monitoring left on";
  }
  fakes_.device.battery_monitoring = true;  // as the host may leave it
  EXPECT_EQ(ValueOf("RQBBatteryDataHelper"), R"({ "s": "unknown", "l": 50.000000 })");
  EXPECT_TRUE(fakes_.device.battery_monitoring);
}

TEST_F(DeviceDataHelpers, JailbreakProbesPathsInOrderUntilOneExistsThenTheCydiaScheme) {
  const std::vector<std::string> in_order = {"/Applications/Cydia.app",
                                             "/Library/MobileSubstrate/MobileSubstrate.dylib",
                                             "/bin/bash",
                                             "/usr/sbin/sshd",
                                             "/etc/apt",
                                             "/usr/bin/ssh"};
  auto& probed = fakes_.file_system.probed_paths;
  EXPECT_EQ(ValueOf("RQBJailBreakingDataHelper"), "false");
  EXPECT_EQ(probed, in_order);
  fakes_.application.handled_urls = {"cydia://package/com.example.package"};
  EXPECT_EQ(ValueOf("RQBJailBreakingDataHelper"), "true");

  fakes_.application.handled_urls.clear();
  fakes_.file_system.existing_paths = {"/usr/sbin/sshd", "/usr/bin/ssh"};
  probed.clear();
  EXPECT_EQ(ValueOf("RQBJailBreakingDataHelper"), "true");
  EXPECT_EQ(probed, std::vector(in_order.begin(), in_order.begin() + 4));
}

}  // namespace
}  // namespace rqb
