// Reachability on Linux: route replies captured from the kernel, and real
// routing changes in a private network namespace.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <linux/rtnetlink.h>
#include <netinet/in.h>
#include <sched.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <thread>

#include "Platform/NotificationCenter.h"
#include "Platform/Platform.h"
#include "Platform/RunLoop.h"
#include "Platform/linux/LinuxNetworkReachability.h"
#include "Utils/Reachability/Reachability.h"

namespace rqb {
namespace {

using namespace std::chrono_literals;

constexpr ReachabilityFlags kReachable = kReachabilityFlagReachable;
constexpr ReachabilityFlags kLocal = kReachabilityFlagIsLocalAddress;
constexpr ReachabilityFlags kDirect = kReachabilityFlagIsDirect;

std::string Fixture(const std::string& name) {
  std::ifstream file(std::string(RQB_TEST_FIXTURES) + "/" + name, std::ios::binary);
  EXPECT_TRUE(file) << name;
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

std::vector<RouteFacts> Routes(const std::string& fixture) {
  const std::string bytes = Fixture("netlink/" + fixture);
  return ParseRouteReply(
      std::span(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()));
}

ReachabilityFlags FlagsOfLookup(const std::string& fixture, bool cellular = false) {
  const std::vector<RouteFacts> routes = Routes(fixture);
  return FlagsForRoute(routes.empty() ? std::nullopt : std::optional(routes.front()), cellular);
}

TEST(LinuxRouteReplies, TheDefaultRouteIsTheUsableUnicastRouteToEverywhereWithTheLowestMetric) {
  const std::optional<RouteFacts> host = SelectDefaultRoute(Routes("route-dump-ipv4.bin"));
  ASSERT_TRUE(host);
  EXPECT_EQ(host->output_interface, 4u);
  EXPECT_TRUE(host->has_gateway);
  EXPECT_EQ(host->table, RT_TABLE_MAIN);
  EXPECT_EQ(FlagsForRoute(host, false), kReachable) << "a gateway route is not direct";
  EXPECT_EQ(FlagsForRoute(host, true), kReachable | kReachabilityFlagIsWWAN);

  EXPECT_FALSE(SelectDefaultRoute(Routes("route-dump-ipv4-no-default.bin")))
      << "a link route and the local table are no way to the internet";
  EXPECT_EQ(FlagsForRoute(std::nullopt, false), 0u);

  const std::optional<RouteFacts> past_down_link =
      SelectDefaultRoute(Routes("route-dump-ipv4-linkdown.bin"));
  ASSERT_TRUE(past_down_link);
  EXPECT_EQ(past_down_link->priority, 200u) << "the better metric's link is down";
}

TEST(LinuxRouteReplies, LookupsGiveLocalDirectGatewayAndUnreachableFlags) {
  EXPECT_EQ(FlagsOfLookup("route-get-local.bin"), kReachable | kLocal | kDirect);
  EXPECT_EQ(FlagsOfLookup("route-get-direct.bin"), kReachable | kDirect);
  EXPECT_EQ(FlagsOfLookup("route-get-via-gateway.bin"), kReachable);
  EXPECT_EQ(FlagsOfLookup("route-get-via-gateway.bin", true), kReachable | kReachabilityFlagIsWWAN);
  EXPECT_TRUE(Routes("route-get-unreachable.bin").empty());
  EXPECT_EQ(FlagsOfLookup("route-get-unreachable.bin"), 0u);
  EXPECT_TRUE(ParseRouteReply({}).empty());

  RouteFacts blackhole;
  blackhole.type = RTN_BLACKHOLE;
  blackhole.destination_length = 32;
  EXPECT_EQ(FlagsForRoute(blackhole, false), 0u);
}

TEST(LinuxRouteReplies, OnlyAWwanDeviceTypeIsCellular) {
  EXPECT_TRUE(IsCellularUevent(Fixture("sysfs-uevent/wwan-qmi")));
  EXPECT_FALSE(IsCellularUevent(Fixture("sysfs-uevent/wlan")));
  EXPECT_FALSE(IsCellularUevent(Fixture("sysfs-uevent/ethernet")));
  EXPECT_FALSE(IsCellularUevent(Fixture("sysfs-uevent/loopback")));
  EXPECT_FALSE(IsCellularUevent("DEVTYPE=wwanx\n"));
}

TEST(LinuxSocketAddresses, ConvertsThePlatformsLayoutAndRefusesAnythingElse) {
  const std::uint8_t ipv4[16] = {16, 2, 0x01, 0xbb, 192, 0, 2, 7};
  const std::optional<sockaddr_storage> v4 = LinuxSocketAddress(ipv4);
  ASSERT_TRUE(v4);
  const auto& in4 = reinterpret_cast<const sockaddr_in&>(*v4);
  EXPECT_EQ(in4.sin_family, AF_INET);
  EXPECT_EQ(ntohs(in4.sin_port), 443);
  EXPECT_EQ(ntohl(in4.sin_addr.s_addr), 0xc0000207u);

  std::uint8_t ipv6[28] = {28, 30, 0, 80};
  ipv6[8] = 0x20;
  ipv6[9] = 0x01;
  ipv6[23] = 0x01;
  ipv6[24] = 3;  // scope id, host order
  const std::optional<sockaddr_storage> v6 = LinuxSocketAddress(ipv6);
  ASSERT_TRUE(v6);
  const auto& in6 = reinterpret_cast<const sockaddr_in6&>(*v6);
  EXPECT_EQ(in6.sin6_family, AF_INET6);
  EXPECT_EQ(in6.sin6_addr.s6_addr[0], 0x20);
  EXPECT_EQ(in6.sin6_addr.s6_addr[15], 0x01);
  EXPECT_EQ(in6.sin6_scope_id, 3u);

  sockaddr_in linux_layout{};
  linux_layout.sin_family = AF_INET;
  const auto* linux_bytes = reinterpret_cast<const std::uint8_t*>(&linux_layout);
  EXPECT_FALSE(LinuxSocketAddress(std::span(linux_bytes, linux_bytes[0])));
  const std::uint8_t short_ipv4[8] = {8, 2};
  EXPECT_FALSE(LinuxSocketAddress(short_ipv4));
  const std::uint8_t wrong_length[16] = {15, 2};
  EXPECT_FALSE(LinuxSocketAddress(wrong_length));
  const std::uint8_t unix_family[16] = {16, 1};
  EXPECT_FALSE(LinuxSocketAddress(unix_family));
}

// Real routing, on a thread moved into a fresh network namespace with a veth
// pair v0/v1 up and 10.9.0.2/24 on v0 but no default route.
class PrivateNetwork : public ::testing::Test {
 protected:
  static bool Ip(const std::string& arguments) {
    return std::system(("ip " + arguments + " >/dev/null 2>&1").c_str()) == 0;
  }

  // Runs `body` there; returns why the network could not be made, if so.
  static std::optional<std::string> RunInside(const std::function<void()>& body) {
    std::optional<std::string> unavailable;
    std::thread([&] {
      if (unshare(CLONE_NEWNET) != 0) {
        unavailable = std::string("this machine allows no private network namespace: ") +
                      std::strerror(errno);
        return;
      }
      if (!Ip("link set lo up") || !Ip("link add v0 type veth peer name v1") ||
          !Ip("link set v1 up") || !Ip("link set v0 up") || !Ip("addr add 10.9.0.2/24 dev v0")) {
        unavailable = "cannot set up a veth pair with `ip` (iproute2) in the namespace";
        return;
      }
      body();
    }).join();
    return unavailable;
  }

  static std::optional<ReachabilityFlags> FlagsOfAddress(const char* dotted) {
    std::uint8_t address[16] = {16, 2};
    inet_pton(AF_INET, dotted, &address[4]);
    return CurrentPlatform().network_reachability->CreateWithAddress(address)->GetFlags();
  }
};

TEST_F(PrivateNetwork, FlagsFollowTheKernelsRoutingDecision) {
  const auto unavailable = RunInside([] {
    EXPECT_EQ(FlagsOfAddress("0.0.0.0"), 0u) << "no default route yet";
    EXPECT_EQ(FlagsOfAddress("198.51.100.7"), 0u);
    EXPECT_EQ(FlagsOfAddress("127.0.0.1"), kReachable | kLocal | kDirect);
    EXPECT_EQ(FlagsOfAddress("10.9.0.2"), kReachable | kLocal | kDirect);
    EXPECT_EQ(FlagsOfAddress("10.9.0.77"), kReachable | kDirect);
    EXPECT_EQ(CurrentPlatform().network_reachability->CreateWithName("localhost")->GetFlags(),
              kReachable | kLocal | kDirect);
    EXPECT_EQ(CurrentPlatform().network_reachability->CreateWithName("name.invalid")->GetFlags(),
              0u);

    ASSERT_TRUE(Ip("route add default via 10.9.0.1 dev v0"));
    EXPECT_EQ(FlagsOfAddress("0.0.0.0"), kReachable);
    EXPECT_EQ(FlagsOfAddress("198.51.100.7"), kReachable);
  });
  if (unavailable) GTEST_SKIP() << *unavailable;
}

TEST_F(PrivateNetwork, ADefaultRouteComingAndGoingFlipsTheStatusAndNotifiesOnTheRunLoop) {
  const auto unavailable = RunInside([] {
    const std::shared_ptr<RunLoop> loop = RunLoop::Current();
    const auto monitor = Reachability::reachabilityForInternetConnection();
    ASSERT_NE(monitor, nullptr);
    EXPECT_EQ(monitor->currentReachabilityStatus(), ReachabilityStatusNone);

    std::vector<ReachabilityStatus> statuses;
    const auto observer = NotificationCenter::Default().AddObserver(
        kReachabilityChangedNotification, [&](const Notification& notification) {
          EXPECT_EQ(notification.object, monitor.get());
          statuses.push_back(
              static_cast<Reachability*>(notification.object)->currentReachabilityStatus());
          loop->Stop();
        });
    ASSERT_TRUE(monitor->startNotifier());

    loop->Post([] { EXPECT_TRUE(Ip("route add default via 10.9.0.1 dev v0")); });
    EXPECT_TRUE(loop->RunUntil(std::chrono::steady_clock::now() + 20s)) << "no notification";
    loop->Post([] { EXPECT_TRUE(Ip("route del default")); });
    EXPECT_TRUE(loop->RunUntil(std::chrono::steady_clock::now() + 20s)) << "no notification";
    EXPECT_EQ(statuses, (std::vector{ReachabilityStatusWiFi, ReachabilityStatusNone}));
    NotificationCenter::Default().RemoveObserver(observer);
  });
  if (unavailable) GTEST_SKIP() << *unavailable;
}

}  // namespace
}  // namespace rqb
