// The connection-type, SSID, carrier and VoIP collectors over fake network
// providers.
#include <gtest/gtest.h>

#include "DataHelpers/RQB3GDataHelper.h"
#include "DataHelpers/RQBCarrierDataHelper.h"
#include "DataHelpers/RQBSSIDDataHelper.h"
#include "DataHelpers/RQBVoipDataHelper.h"
#include "DataHelpers/RQBWifiDataHelper.h"
#include "FakeNetworkPlatform.h"
#include "FakePlatform.h"
#include "RQBehavior/RQBehavior.h"
#include "Utils/Network/RQBNetworkUtil.h"

namespace rqb {
namespace {

constexpr ReachabilityFlags kReachable = kReachabilityFlagReachable;

class NetworkCollectors : public test::PlatformTest {
 protected:
  static std::optional<std::string> Value(RQBDataHelper&& helper) { return helper.getValue(); }

  test::FakeNetworkPlatform network_;
};

TEST_F(NetworkCollectors, ConnectionTypeFollowsTheInternetRoutesStatus) {
  struct Case {
    const char* situation;
    std::optional<ReachabilityFlags> flags;
    const char* wifi;
    const char* cellular;
  };
  const Case cases[] = {
      {"Wi-Fi", kReachable, "true", "false"},
      {"cellular only", kReachable | kReachabilityFlagIsWWAN, "false", "true"},
      {"no network", 0, "false", "false"},
      {"connection required, not automatic", kReachable | kReachabilityFlagConnectionRequired,
       "false", "false"},
      {"unreadable flags", std::nullopt, "false", "false"},
  };
  for (const Case& c : cases) {
    network_.reachability.SetFlags(c.flags);
    EXPECT_EQ(Value(RQBWifiDataHelper()), c.wifi) << c.situation;
    EXPECT_EQ(Value(RQB3GDataHelper()), c.cellular) << c.situation;
  }
  network_.reachability.RefuseTargets(true);
  EXPECT_EQ(Value(RQBWifiDataHelper()), "false");
  EXPECT_EQ(Value(RQB3GDataHelper()), "false");
}

TEST_F(NetworkCollectors, EachQuestionStartsAFreshMonitorAndLeavesNothingScheduled) {
  EXPECT_TRUE(RQBNetworkUtil::connectedViaWiFi());
  EXPECT_FALSE(RQBNetworkUtil::connectedVia3G());
  const std::vector<std::string> one_monitor = {"create", "schedule", "unschedule", "destroy"};
  std::vector<std::string> two_monitors = one_monitor;
  two_monitors.insert(two_monitors.end(), one_monitor.begin(), one_monitor.end());
  EXPECT_EQ(network_.reachability.Events(), two_monitors);
}

TEST_F(NetworkCollectors, SsidIsLookedUpUnderTheLiteralKeyOfTheFirstInterfaceWithInformation) {
  RQBSSIDDataHelper ssid;
  EXPECT_EQ(ssid.getKey(), "SSID");

  network_.captive_network.interfaces = std::nullopt;
  EXPECT_EQ(ssid.getValue(), "") << "no interface list";
  network_.captive_network.interfaces = std::vector<std::string>{};
  EXPECT_EQ(ssid.getValue(), "") << "empty interface list";

  network_.captive_network.interfaces = std::vector<std::string>{"wlan0"};
  EXPECT_EQ(ssid.getValue(), "") << "no network on the only interface";
  network_.captive_network.networks["wlan0"] = NetworkInfo{};
  EXPECT_EQ(ssid.getValue(), std::nullopt) << "an empty dictionary";
  network_.captive_network.networks["wlan0"] =
      NetworkInfo{{"SSID", "Home"}, {"BSSID", "a0:b1:c2:d3:e4:f5"}, {"SSIDDATA", "Home"}};
  EXPECT_EQ(ssid.getValue(), std::nullopt) << "only the system's own entry names";

  network_.captive_network.interfaces = std::vector<std::string>{"wlan0", "wlan1"};
  network_.captive_network.networks["wlan0"] = std::nullopt;
  network_.captive_network.networks["wlan1"] = NetworkInfo{{"kCNNetworkInfoKeySSID", "\"Home\""}};
  EXPECT_EQ(ssid.getValue(), "\"Home\"") << "the second interface's entry, as it is";

  network_.captive_network.networks["wlan0"] = NetworkInfo{};
  network_.captive_network.networks["wlan1"] = std::nullopt;
  EXPECT_EQ(ssid.getValue(), "") << "the last interface asked had no network";
}

TEST_F(NetworkCollectors, CarrierAndVoipValuesMatchTheWorkedExamples) {
  const Carrier alpha{"Alpha", true};
  const Carrier beta{"Beta", false};
  struct Case {
    const char* situation;
    std::optional<CarrierDictionary> carriers;
    const char* carrier;
    const char* voip;
  };
  const Case cases[] = {
      {"no carrier information", std::nullopt, "", "{}"},
      {"empty dictionary", CarrierDictionary{}, "[]", "{}"},
      {"one carrier", CarrierDictionary{{"0000000100000001", alpha}}, R"(["Alpha"])",
       R"({ "Alpha": true })"},
      {"two carriers", CarrierDictionary{{"0000000100000001", alpha}, {"0000000100000002", beta}},
       R"(["Alpha","Beta"])", R"({ "Alpha": true, "Beta": false })"},
      {"no name", CarrierDictionary{{"0000000100000001", Carrier{std::nullopt, false}}},
       R"x(["(null)"])x", R"x({ "(null)": false })x"},
      {"a quote in a name", CarrierDictionary{{"1", Carrier{"Al\"pha", true}}}, R"(["Al"pha"])",
       R"({ "Al"pha": true })"},
      {"the same name twice", CarrierDictionary{{"1", alpha}, {"2", Carrier{"Alpha", false}}},
       R"(["Alpha","Alpha"])", R"({ "Alpha": true, "Alpha": false })"},
  };
  for (const Case& c : cases) {
    network_.telephony.carriers = c.carriers;
    EXPECT_EQ(Value(RQBCarrierDataHelper()), c.carrier) << c.situation;
    EXPECT_EQ(Value(RQBVoipDataHelper()), c.voip) << c.situation;
  }
}

TEST(NetworkCollectorsOnOlderSystems, ReportNoCarriersBefore12) {
  test::FakeNetworkPlatform network("11.4.1");
  network.telephony.carriers = CarrierDictionary{{"1", Carrier{"Alpha", true}}};
  EXPECT_EQ(RQBNetworkUtil::getCarriers(), std::nullopt);
  EXPECT_EQ(RQBCarrierDataHelper().getValue(), "");
  EXPECT_EQ(RQBVoipDataHelper().getValue(), "{}");
}

}  // namespace
}  // namespace rqb
