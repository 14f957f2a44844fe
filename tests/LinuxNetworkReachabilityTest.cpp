// Reachability on Linux: route replies captured from the kernel, and real
// routing changes in a private network namespace.
#include <gtest/gtest.h>
#include <linux/rtnetlink.h>
#include <sched.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <thread>
#include <tuple>

#include "Platform/NotificationCenter.h"
#include "Platform/RunLoop.h"
#include "Platform/linux/LinuxNetworkReachability.h"
#include "Utils/Reachability/Reachability.h"

namespace rqb {
namespace {

using namespace std::chrono_literals;

constexpr ReachabilityFlags kReachable = kReachabilityFlagReachable;
constexpr ReachabilityFlags kLocal = kReachabilityFlagIsLocalAddress | kReachabilityFlagIsDirect;

std::string Fixture(const std::string& name) {
  std::ifstream file(std::string(RQB_TEST_FIXTURES) + "/" + name, std::ios::binary);
  EXPECT_TRUE(file) << name;
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
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

// Real routing, on a thread moved into a fresh network namespace with a veth
// pair v0/v1 up and 10.9.0.2/24 on v0 but no default route.
TEST(PrivateNetwork, ADefaultRouteComingAndGoingFlipsTheStatusAndNotifiesOnTheRunLoop) {
  std::string unavailable;
  std::thread([&] {
    if (unshare(CLONE_NEWNET) != 0) {
      unavailable =
          std::string("this machine allows no private network namespace: ") + std::strerror(errno);
      return;
    }
    // Without IPv6 link-local addresses, whose late arrival would be a change
    // of its own, only the route changes below can wake the monitor.
    if (!Ip("link set lo up") || !Ip("link add v0 type veth peer name v1") ||
        !Ip("link set v0 addrgenmode none") || !Ip("link set v1 addrgenmode none") ||
        !Ip("link set v1 up") || !Ip("link set v0 up") || !Ip("addr add 10.9.0.2/24 dev v0")) {
      unavailable = "cannot set up a veth pair with `ip` (iproute2) in the namespace";
      return;
    }
    const std::shared_ptr<RunLoop> loop = RunLoop::Current();
    const auto monitor = Reachability::reachabilityForInternetConnection();
    ASSERT_NE(monitor, nullptr);
    EXPECT_EQ(monitor->currentReachabilityStatus(), ReachabilityStatusNone);

    std::vector<ReachabilityStatus> statuses;
    const auto observer = NotificationCenter::Default().AddObserver(
        kReachabilityChangedNotification, [&](const Notification& notification) {
          EXPECT_EQ(notification.object, monitor.get());
          statuses.push_back(monitor->currentReachabilityStatus());
          loop->Stop();
        });
    ASSERT_TRUE(monitor->startNotifier());
    loop->Post([] { EXPECT_TRUE(Ip("route add default via 10.9.0.1 dev v0")); });
    EXPECT_TRUE(loop->RunUntil(std::chrono::steady_clock::now() + 20s)) << "no notification";
    loop->Post([] { EXPECT_TRUE(Ip("route del default")); });
    EXPECT_TRUE(loop->RunUntil(std::chrono::steady_clock::now() + 20s)) << "no notification";
    EXPECT_EQ(statuses, (std::vector{ReachabilityStatusWiFi, ReachabilityStatusNone}));
    NotificationCenter::Default().RemoveObserver(observer);
  }).join();
  if (!unavailable.empty()) GTEST_SKIP() << unavailable;
}

}  // namespace
}  // namespace rqb
