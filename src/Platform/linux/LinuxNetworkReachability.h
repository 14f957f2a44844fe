// Reachability on Linux: the kernel's routing decision for the target, and
// its routing and link events as change notifications.
#pragma once

#include <sys/socket.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "Platform/NetworkReachability.h"

namespace rqb {

// What one route message tells about the way to a destination.
struct RouteFacts {
  std::uint8_t family = 0;
  std::uint8_t destination_length = 0;  // prefix length; 0 for a default route
  std::uint8_t type = 0;                // RTN_UNICAST, RTN_LOCAL, RTN_UNREACHABLE, ...
  std::uint32_t table = 0;
  std::uint32_t flags = 0;  // rtm_flags, e.g. RTNH_F_LINKDOWN
  std::optional<std::uint32_t> output_interface;
  bool has_gateway = false;
  std::uint32_t priority = 0;  // the metric; lower wins
};

// The routes of a netlink reply (a route lookup or a dump), in order. An
// error reply, such as "network unreachable", holds none.
std::vector<RouteFacts> ParseRouteReply(std::span<const std::uint8_t> reply);

// The default route that traffic to the internet takes: a unicast route to
// the whole address space, outside the local table, on a link that is not
// down, with the lowest metric.
std::optional<RouteFacts> SelectDefaultRoute(std::span<const RouteFacts> routes);

// The flags for the route traffic to the target takes (nothing: no route):
// Reachable for a usable route; IsLocalAddress with IsDirect for an address
// of this host; IsDirect for a host on an attached network; IsWWAN when the
// route leaves through a cellular modem.
ReachabilityFlags FlagsForRoute(const std::optional<RouteFacts>& route, bool egress_is_cellular);

// Whether a network interface's sysfs uevent text names a cellular modem.
bool IsCellularUevent(std::string_view uevent);

// A socket address in the mobile platform's layout (length byte, family 2 or
// 30) as Linux lays it out; nothing when malformed or of another family.
std::optional<sockaddr_storage> LinuxSocketAddress(std::span<const std::uint8_t> address);

class LinuxNetworkReachability final : public NetworkReachability {
 public:
  std::unique_ptr<ReachabilityTarget> CreateWithName(std::string_view host_name) override;
  std::unique_ptr<ReachabilityTarget> CreateWithAddress(
      std::span<const std::uint8_t> address) override;
};

}  // namespace rqb
