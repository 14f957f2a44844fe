// The Linux network providers: reachability from route replies captured from
// the kernel and from real routing changes in a private network namespace;
// Wi-Fi from sysfs folders and nl80211 replies; carriers from modems.
#include <gtest/gtest.h>
#include <linux/genetlink.h>
#include <linux/netlink.h>
#include <linux/nl80211.h>
#include <linux/rtnetlink.h>
#include <sched.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <thread>
#include <tuple>

#include "FakePlatform.h"
#include "Platform/NotificationCenter.h"
#include "Platform/RunLoop.h"
#include "Platform/linux/LinuxCaptiveNetwork.h"
#include "Platform/linux/LinuxNetworkReachability.h"
#include "Platform/linux/LinuxTelephony.h"
#include "Utils/Reachability/Reachability.h"

namespace rqb {
namespace {

using namespace std::chrono_literals;

constexpr ReachabilityFlags kReachable = kReachabilityFlagReachable;
constexpr ReachabilityFlags kLocal = kReachabilityFlagIsLocalAddress | kReachabilityFlagIsDirect;

std::string Fixture(const std::string& name) {
  const std::string bytes = test::FileText(std::string(RQB_TEST_FIXTURES) + "/" + name);
  EXPECT_FALSE(bytes.empty()) << name;
  return bytes;
}

// The route whose flags count in a captured reply: a dump's default route,
// or a lookup's answer.
std::optional<RouteFacts> RouteOf(const std::string& fixture) {
  const std::string bytes = Fixture("netlink/" + fixture);
  const std::vector<RouteFacts> routes =
      ParseRouteReply(std::span(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()));
  if (fixture.starts_with("route-dump")) return SelectDefaultRoute(routes);
  return routes.empty() ? std::nullopt : std::optional(routes[0]);
}

TEST(LinuxRouteReplies, GiveTheFlagsOfTheDefaultRouteOrOfTheLookedUpRoute) {
  const std::tuple<const char*, bool, ReachabilityFlags> cases[] = {
      {"route-dump-ipv4.bin", false, kReachable},  // via a gateway: not direct
      {"route-dump-ipv4.bin", true, kReachable | kReachabilityFlagIsWWAN},
      {"route-dump-ipv4-no-default.bin", false, 0},  // a link route and the local table only
      {"route-get-local.bin", false, kReachable | kLocal},
      {"route-get-direct.bin", false, kReachable | kReachabilityFlagIsDirect},
      {"route-get-via-gateway.bin", false, kReachable},
      {"route-get-unreachable.bin", false, 0},
  };
  for (const auto& [fixture, cellular, flags] : cases) {
    EXPECT_EQ(FlagsForRoute(RouteOf(fixture), cellular), flags) << fixture << " " << cellular;
  }
  const std::optional<RouteFacts> past_down_link = RouteOf("route-dump-ipv4-linkdown.bin");
  ASSERT_TRUE(past_down_link);
  EXPECT_EQ(past_down_link->priority, 200u) << "the better metric's link is down";
  RouteFacts blackhole;
  blackhole.type = RTN_BLACKHOLE;
  EXPECT_EQ(FlagsForRoute(blackhole, false), 0u);
}

TEST(LinuxRouteReplies, OnlyAWwanDeviceTypeIsCellular) {
  EXPECT_TRUE(IsCellularUevent(Fixture("sysfs-uevent/wwan-qmi")));
  EXPECT_FALSE(IsCellularUevent(Fixture("sysfs-uevent/wlan")));
  EXPECT_FALSE(IsCellularUevent(Fixture("sysfs-uevent/ethernet")));
  EXPECT_FALSE(IsCellularUevent("DEVTYPE=wwanx\n"));
}

bool Ip(const std::string& arguments) {
  return std::system(("ip " + arguments + " >/dev/null 2>&1").c_str()) == 0;
}

// Runs `body` on a thread moved into a fresh network namespace with a veth
// pair v0/v1 up and 10.9.0.2/24 on v0 but no default route; skips the test
// where the machine allows no such namespace.
void InPrivateNetwork(const std::function<void()>& body) {
  std::string unavailable;
  std::thread([&] {
    if (unshare(CLONE_NEWNET) != 0) {
      unavailable =
          std::string("this machine allows no private network namespace: ") + std::strerror(errno);
      return;
    }
    // Without IPv6 link-local addresses, whose late arrival would be a change
    // of its own, only the route changes of the tests can wake a monitor.
    if (!Ip("link set lo up") || !Ip("link add v0 type veth peer name v1") ||
        !Ip("link set v0 addrgenmode none") || !Ip("link set v1 addrgenmode none") ||
        !Ip("link set v1 up") || !Ip("link set v0 up") || !Ip("addr add 10.9.0.2/24 dev v0")) {
      unavailable = "cannot set up a veth pair with `ip` (iproute2) in the namespace";
      return;
    }
    body();
  }).join();
  if (!unavailable.empty()) GTEST_SKIP() << unavailable;
}

constexpr char kAddDefaultRoute[] = "route add default via 10.9.0.1 dev v0";

ReachabilityStatus InternetStatusNow() {
  return Reachability::reachabilityForInternetConnection()->currentReachabilityStatus();
}

// A default route coming and going flips the status and notifies on the
// monitor's run loop. The route state that monitors share is kept between
// questions: a change must reach the very next question, and a monitor whose
// loop was not running when another question took the change's events. A
// forked child that asks after a change must take its own copy of the
// events, never the parent's, whose started monitor still has to notify.
TEST(PrivateNetwork, AChangeReachesTheNextQuestionAndEveryStartedMonitorAcrossAFork) {
  InPrivateNetwork([] {
    const std::shared_ptr<RunLoop> loop = RunLoop::Current();
    const auto monitor = Reachability::reachabilityForInternetConnection();
    ASSERT_NE(monitor, nullptr);
    ASSERT_TRUE(monitor->startNotifier());
    std::vector<ReachabilityStatus> statuses;
    const auto observer = NotificationCenter::Default().AddObserver(
        kReachabilityChangedNotification, [&](const Notification& notification) {
          EXPECT_EQ(notification.object, monitor.get());
          statuses.push_back(monitor->currentReachabilityStatus());
          loop->Stop();
        });
    EXPECT_EQ(InternetStatusNow(), ReachabilityStatusNone);
    EXPECT_EQ(monitor->currentReachabilityStatus(), ReachabilityStatusNone);

    ASSERT_TRUE(Ip(kAddDefaultRoute));
    EXPECT_EQ(InternetStatusNow(), ReachabilityStatusWiFi) << "a stale route state";
    EXPECT_TRUE(loop->RunUntil(std::chrono::steady_clock::now() + 20s))
        << "the monitor missed a change whose events a question took";
    ASSERT_TRUE(Ip("route del default"));
    EXPECT_EQ(monitor->currentReachabilityStatus(), ReachabilityStatusNone)
        << "a stale route state";
    EXPECT_TRUE(loop->RunUntil(std::chrono::steady_clock::now() + 20s));

    int go[2];
    ASSERT_EQ(pipe(go), 0);
    const pid_t child = fork();
    if (child == 0) {
      char byte = 0;
      const bool told = read(go[0], &byte, 1) == 1;
      _exit(told && InternetStatusNow() == ReachabilityStatusWiFi ? 0 : 1);
    }
    ASSERT_GT(child, 0);
    EXPECT_TRUE(Ip(kAddDefaultRoute));
    EXPECT_EQ(write(go[1], "g", 1), 1);
    EXPECT_EQ(test::ExitCodeOf(child), 0) << "the child saw no change";
    close(go[0]);
    close(go[1]);
    EXPECT_TRUE(loop->RunUntil(std::chrono::steady_clock::now() + 20s))
        << "the child took the parent's events";
    EXPECT_EQ(statuses, (std::vector{ReachabilityStatusWiFi, ReachabilityStatusNone,
                                     ReachabilityStatusWiFi}));
    NotificationCenter::Default().RemoveObserver(observer);
  });
}

template <typename T>
std::string BytesOf(const T& value) {
  return std::string(reinterpret_cast<const char*>(&value), sizeof value);
}

// An nl80211 interface reply as the kernel lays it out: netlink and generic
// headers, then each attribute's header and payload, padded to four bytes.
std::vector<std::uint8_t> InterfaceReply(
    const std::vector<std::pair<std::uint16_t, std::string>>& attributes) {
  std::string bytes = BytesOf(genlmsghdr{NL80211_CMD_NEW_INTERFACE, 1, 0});
  for (const auto& [type, payload] : attributes) {
    bytes += BytesOf(nlattr{static_cast<std::uint16_t>(NLA_HDRLEN + payload.size()), type});
    bytes += payload;
    bytes.resize(NLA_ALIGN(bytes.size()), '\0');
  }
  const auto length = static_cast<std::uint32_t>(NLMSG_HDRLEN + bytes.size());
  bytes = BytesOf(nlmsghdr{length, 0x1c, 0, 0, 0}) + bytes;  // 0x1c: nl80211's family id
  return std::vector<std::uint8_t>(bytes.begin(), bytes.end());
}

TEST(LinuxCaptiveNetwork, ListsTheWirelessInterfacesOfSysfsByName) {
  const test::TemporaryDirectory class_net;
  for (const char* interface : {"wlp2s0/phy80211", "eth0/statistics", "wlan0/wireless", "lo"}) {
    std::filesystem::create_directories(class_net.path() / interface);
  }
  EXPECT_EQ(WirelessInterfacesIn(class_net.path()), (std::vector<std::string>{"wlan0", "wlp2s0"}));
}

TEST(LinuxCaptiveNetwork, ReadsTheJoinedNetworkAndKeysItWithThePlatformsOwnEntryNames) {
  const std::pair<std::uint16_t, std::string> ifindex{NL80211_ATTR_IFINDEX, BytesOf(3u)};
  EXPECT_EQ(SsidOf(InterfaceReply({ifindex, {NL80211_ATTR_SSID, "Caf\xc3\xa9 \"Home\""}})),
            "Caf\xc3\xa9 \"Home\"");
  EXPECT_EQ(SsidOf(InterfaceReply({ifindex})), std::nullopt) << "joined to no network";
  // Under the system's own entry names, which the SSID collector never asks for.
  EXPECT_EQ(MakeNetworkInfo("Home", "a0:0b:c2:d3:e4:0f"),
            (NetworkInfo{{"BSSID", "a0:0b:c2:d3:e4:0f"}, {"SSID", "Home"}, {"SSIDDATA", "Home"}}));
}

TEST(LinuxTelephony, NamesEachModemsCarrierAfterItsSimThenItsNetworkInTheServicesOrder) {
  const CarrierDictionary carriers = CarriersOfModems({{"/Modem/3", "Alpha", "Alpha Roaming"},
                                                       {"/Modem/1", std::nullopt, "Beta"},
                                                       {"/Modem/2", "", ""}});
  std::vector<std::pair<std::string, std::optional<std::string>>> names;
  for (const auto& [path, carrier] : carriers) {
    names.emplace_back(path, carrier.carrier_name);
    EXPECT_FALSE(carrier.allows_voip) << path;
  }
  EXPECT_EQ(names, (decltype(names){
                       {"/Modem/3", "Alpha"}, {"/Modem/1", "Beta"}, {"/Modem/2", std::nullopt}}));
}

}  // namespace
}  // namespace rqb
