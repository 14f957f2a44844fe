// The connection-type, SSID, carrier and VoIP collectors over fake network
// providers.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>

#include "DataHelpers/RQB3GDataHelper.h"
#include "DataHelpers/RQBCarrierDataHelper.h"
#include "DataHelpers/RQBSSIDDataHelper.h"
#include "DataHelpers/RQBVoipDataHelper.h"
#include "DataHelpers/RQBWifiDataHelper.h"
#include "FakeNetworkPlatform.h"
#include "Managers/RQBIdentityManager.h"

namespace rqb {
namespace {

constexpr ReachabilityFlags kReachable = kReachabilityFlagReachable;

class NetworkCollectors : public test::PlatformTest {
 protected:
  test::FakeNetworkPlatform network_;
};

TEST_F(NetworkCollectors, ConnectionTypeFollowsTheInternetRoutesStatus) {
  const std::tuple<std::optional<ReachabilityFlags>, const char*, const char*> cases[] = {
      {kReachable, "true", "false"},
      {kReachable | kReachabilityFlagIsWWAN, "false", "true"},
      {0, "false", "false"},
      {kReachable | kReachabilityFlagConnectionRequired, "false", "false"},  // not automatic
  };
  for (const auto& [flags, wifi, cellular] : cases) {
    SCOPED_TRACE(std::to_string(*flags));
    network_.reachability.SetFlags(flags);
    EXPECT_EQ(RQBWifiDataHelper().getValue(), wifi);
    EXPECT_EQ(RQB3GDataHelper().getValue(), cellular);
  }
}

TEST_F(NetworkCollectors, SsidIsLookedUpUnderTheLiteralKeyOfTheInterfacesInformation) {
  auto& wifi = network_.captive_network;
  EXPECT_EQ(RQBSSIDDataHelper().getValue(), "") << "no interface list";
  wifi.interfaces = std::vector<std::string>{"wlan0"};
  EXPECT_EQ(RQBSSIDDataHelper().getValue(), "") << "no network on the only interface";
  wifi.networks["wlan0"] = NetworkInfo{};
  EXPECT_EQ(RQBSSIDDataHelper().getValue(), std::nullopt) << "an empty dictionary";
  wifi.networks["wlan0"] =
      NetworkInfo{{"SSID", "Home"}, {"BSSID", "a0:b1:c2:d3:e4:f5"}, {"SSIDDATA", "Home"}};
  EXPECT_EQ(RQBSSIDDataHelper().getValue(), std::nullopt) << "only the system's own entry names";

  wifi.interfaces = std::vector<std::string>{"wlan0", "wlan1"};
  wifi.networks["wlan0"] = std::nullopt;
  wifi.networks["wlan1"] = NetworkInfo{{"kCNNetworkInfoKeySSID", "\"Home\""}};
  EXPECT_EQ(RQBSSIDDataHelper().getValue(), "\"Home\"") << "the second interface's entry, as it is";
  wifi.networks["wlan0"] = NetworkInfo{};
  wifi.networks["wlan1"] = std::nullopt;
  EXPECT_EQ(RQBSSIDDataHelper().getValue(), "") << "the last interface asked had no network";
}

TEST_F(NetworkCollectors, CarrierAndVoipValuesMatchTheWorkedExamplesAndAreEmptyBefore12) {
  const Carrier alpha{"Alpha", true};
  const std::tuple<std::optional<CarrierDictionary>, const char*, const char*> cases[] = {
      {std::nullopt, "", "{}"},
      {CarrierDictionary{}, "[]", "{}"},
      {CarrierDictionary{{"0000000100000001", alpha}}, R"(["Alpha"])", R"({ "Alpha": true })"},
      {CarrierDictionary{{"0000000100000001", alpha}, {"0000000100000002", {"Beta", false}}},
       R"(["Alpha","Beta"])", R"({ "Alpha": true, "Beta": false })"},
      {CarrierDictionary{{"1", {std::nullopt, false}}}, R"x(["(null)"])x",
       R"x({ "(null)": false })x"},
      {CarrierDictionary{{"1", {"Al\"pha", true}}}, R"(["Al"pha"])", R"({ "Al"pha": true })"},
      {CarrierDictionary{{"1", alpha}, {"2", {"Alpha", false}}}, R"(["Alpha","Alpha"])",
       R"({ "Alpha": true, "Alpha": false })"},
  };
  for (const auto& [carriers, carrier, voip] : cases) {
    network_.telephony.carriers = carriers;
    EXPECT_EQ(RQBCarrierDataHelper().getValue(), carrier);
    EXPECT_EQ(RQBVoipDataHelper().getValue(), voip);
  }
  network_.operating_system.version = ParseOperatingSystemVersion("11.4.1");
  network_.telephony.carriers = CarrierDictionary{{"1", alpha}};
  EXPECT_EQ(RQBCarrierDataHelper().getValue(), "") << "before 12.0";
  EXPECT_EQ(RQBVoipDataHelper().getValue(), "{}") << "before 12.0";
}

// The two carrier collectors of a run share one answer, and each run asks
// afresh, so a change of modems between runs shows in the next profile.
TEST_F(NetworkCollectors, EachRunAsksForTheCarriersOnceAndBothCollectorsSeeThatAnswer) {
  classes_.Register("RQBCarrierDataHelper",
                    [] { return std::make_unique<RQBCarrierDataHelper>(); });
  classes_.Register("RQBVoipDataHelper", [] { return std::make_unique<RQBVoipDataHelper>(); });
  using Values = std::pair<std::string, std::string>;  // Carrier, CarrierAllowsVoip
  const auto run = [] {
    const JsonObject variables = RQBIdentifyManager::getInstance().getDeviceData();
    return Values(*variables.FindText("Carrier"), *variables.FindText("CarrierAllowsVoip"));
  };
  network_.telephony.carriers = CarrierDictionary{{"1", {"Alpha", true}}};
  EXPECT_EQ(run(), Values(R"(["Alpha"])", R"({ "Alpha": true })"));
  EXPECT_EQ(network_.telephony.questions, 1);
  network_.telephony.carriers = CarrierDictionary{};
  EXPECT_EQ(run(), Values("[]", "{}"));
  EXPECT_EQ(network_.telephony.questions, 2);
  EXPECT_EQ(RQBCarrierDataHelper().getValue(), "[]") << "outside a run";
  EXPECT_EQ(network_.telephony.questions, 3);
}

}  // namespace
}  // namespace rqb
