// A whole collection run through the library's own class table, with every
// provider faked: the profile a well-known phone on cellular posts.
#include <gtest/gtest.h>

#include <chrono>
#include <nlohmann/json.hpp>

#include "DataHelpers/RQBDataHelperRegistry.h"
#include "FakeDevicePlatform.h"
#include "FakeLocationPlatform.h"
#include "FakeNetworkPlatform.h"
#include "RQBehavior/RQBehavior.h"

namespace rqb {
namespace {

using namespace std::chrono;

class DeviceProfile : public test::PlatformTest {
 protected:
  DeviceProfile() {
    network_.reachability.SetFlags(kReachabilityFlagReachable | kReachabilityFlagIsWWAN);
    network_.captive_network.interfaces = std::vector<std::string>{"en0"};
    network_.captive_network.networks["en0"] = NetworkInfo{{"SSID", "Home"}};
    network_.telephony.carriers = CarrierDictionary{{"0000000100000001", Carrier{"Alpha", true}}};
    // A fix that would give a record, were there a manager to hand it out.
    location_.location.status = kLocationAuthorizedAlways;
    location_.location.location = Location{
        -23.5505, -46.6333, 760.5, sys_days{2021y / January / 21}, 65, 10, 181.5, 0.75, {}};
  }

  nlohmann::json CollectVariables() {
    RQBehavior::getInstance("shop-app-01").collectDeviceInformation("9B2C61D4-session");
    background_.RunAll();
    const auto tasks = sessions_.Tasks();
    if (tasks.empty()) return nullptr;
    const nlohmann::json profile = nlohmann::json::parse(tasks.back().request.http_body);
    EXPECT_EQ(profile.size(), 3u);
    EXPECT_EQ(profile["SessionID"], "9B2C61D4-session");
    EXPECT_EQ(profile["App"], "shop-app-01");
    return profile["Variables"];
  }

  RegistryClassLookup library_classes_;
  ScopedPlatformOverride use_library_classes_{Platform{.classes = &library_classes_}};
  test::FakeNetworkPlatform network_;
  test::FakeLocationPlatform location_;
  test::FakeDevicePlatform device_;
  ScopedPlatformOverride use_device_{device_.platform()};
};

TEST_F(DeviceProfile, HoldsTwentySevenKeysAndNoLocationOnTheFirstRunOfAProcess) {
  const nlohmann::json expected = {
      {"Platform", "iOS"},
      {"SDKVersion", "9.8.7"},
      {"AdvertisingId", "E621E1F8-C36C-495A-93FC-0C247A3E6E5F"},
      {"Location", "{}"},
      {"BatteryInfo", R"({ "s": "c", "l": 50.000000 })"},
      {"Battery", R"({ "s": "c", "l": 50.000000 })"},
      {"LanguageCode", "en"},
      {"DeviceGeneratedId", "0F6E5D4C-3B2A-4918-8765-43210FEDCBA9"},
      {"VisitorIdentifierForVendor", "0F4C3E2A-7B1D-4E55-9A7E-3C2D1B0A9F88"},
      {"DeviceModel", "iPhone12,1"},
      {"SystemVersion", "14.3"},
      {"SystemName", "iOS"},
      {"ConnectedVia3G", "true"},
      {"Carrier", R"(["Alpha"])"},
      {"ClosedCaptioningEnabled", "false"},
      {"DeviceName", "Office iPhone"},
      {"FreeDiskSpace", "52234567680"},
      {"GuidedAccessEnabled", "unknown"},
      {"InvertColorsEnabled", "false"},
      {"InstalledKeyboards", R"(["en_US@sw=QWERTY;hw=Automatic","emoji@sw=Emoji"])"},
      {"LocaleEqualsLanguage", "true"},
      {"MonoAudioEnabled", "false"},
      {"PaymentsAllowed", "true"},
      {"SSID", ""},
      {"VoiceOverRunning", "false"},
      {"CarrierAllowsVoip", R"({ "Alpha": true })"},
      {"ConnectedViaWifi", "false"},
  };
  EXPECT_EQ(CollectVariables(), expected);
}

}  // namespace
}  // namespace rqb
