#include "Platform/linux/LinuxNetworkReachability.h"

#include <linux/rtnetlink.h>
#include <net/if.h>
#include <netdb.h>
#include <netinet/in.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <mutex>
#include <string>
#include <utility>
#include <variant>

#include "Platform/ForkGate.h"
#include "Platform/RunLoop.h"
#include "Platform/linux/LinuxEnvironment.h"
#include "Platform/linux/Netlink.h"
#include "Platform/linux/RouteWatch.h"

namespace rqb {
namespace {

// The mobile platform's address family numbers.
constexpr std::uint8_t kPlatformInet = 2;
constexpr std::uint8_t kPlatformInet6 = 30;

void ReadNextHop(std::span<const std::uint8_t> multipath, RouteFacts& route) {
  const std::optional<rtnexthop> hop = ReadNetlinkValue<rtnexthop>(multipath);
  if (!hop || hop->rtnh_len < sizeof(rtnexthop) || hop->rtnh_len > multipath.size()) return;
  route.output_interface = static_cast<std::uint32_t>(hop->rtnh_ifindex);
  for (const NetlinkAttribute& attribute : SplitNetlinkAttributes(multipath.subspan(
           RTNH_ALIGN(sizeof(rtnexthop)), hop->rtnh_len - RTNH_ALIGN(sizeof(rtnexthop))))) {
    if (attribute.type == RTA_GATEWAY || attribute.type == RTA_VIA) route.has_gateway = true;
  }
}

bool IsUnspecified(const sockaddr_storage& address) {
  if (address.ss_family == AF_INET) {
    return reinterpret_cast<const sockaddr_in&>(address).sin_addr.s_addr == INADDR_ANY;
  }
  const in6_addr& ip6 = reinterpret_cast<const sockaddr_in6&>(address).sin6_addr;
  return IN6_IS_ADDR_UNSPECIFIED(&ip6);
}

std::string ReadFile(const std::string& path) { return ReadFileBytes(path, kMaxSysfsFileBytes); }

bool EgressIsCellular(std::uint32_t interface_index) {
  char name[IF_NAMESIZE] = {};
  if (if_indextoname(interface_index, name) == nullptr) return false;
  return IsCellularUevent(ReadFile(std::string("/sys/class/net/") + name + "/uevent"));
}

// The flags of the route the kernel picks for `address` in the calling
// thread's network namespace; for the unspecified address, of the default
// route. Read afresh: a netlink request of its own.
std::optional<ReachabilityFlags> ReadFlagsForAddress(const sockaddr_storage& address) {
  std::optional<NetlinkSocket> socket = NetlinkSocket::Open(NETLINK_ROUTE);
  if (!socket) return std::nullopt;
  rtmsg header{};
  header.rtm_family = static_cast<unsigned char>(address.ss_family);
  std::optional<std::vector<std::uint8_t>> reply;
  std::optional<RouteFacts> route;
  if (IsUnspecified(address)) {
    reply = socket->Transact(
        NetlinkRequest(RTM_GETROUTE, NLM_F_REQUEST | NLM_F_DUMP).FamilyHeader(header));
    if (!reply) return std::nullopt;
    route = SelectDefaultRoute(ParseRouteReply(*reply));
  } else {
    const bool v4 = address.ss_family == AF_INET;
    const void* bytes =
        v4 ? static_cast<const void*>(&reinterpret_cast<const sockaddr_in&>(address).sin_addr)
           : &reinterpret_cast<const sockaddr_in6&>(address).sin6_addr;
    header.rtm_dst_len = v4 ? 32 : 128;
    reply = socket->Transact(NetlinkRequest(RTM_GETROUTE, NLM_F_REQUEST)
                                 .FamilyHeader(header)
                                 .Attribute(RTA_DST, bytes, v4 ? 4 : 16));
    if (!reply) return std::nullopt;
    const std::vector<RouteFacts> routes = ParseRouteReply(*reply);
    if (!routes.empty()) route = routes.front();
  }
  const bool cellular =
      route && route->output_interface && EgressIsCellular(*route->output_interface);
  return FlagsForRoute(route, cellular);
}

// As ReadFlagsForAddress(), but the default route's flags come from the
// namespace's route watch, which reads them again only after a routing
// event. Without a watch (a namespace no started target watches) they are
// read afresh.
std::optional<ReachabilityFlags> FlagsForAddress(const sockaddr_storage& address) {
  if (!IsUnspecified(address)) return ReadFlagsForAddress(address);
  const std::shared_ptr<RouteWatch> watch =
      RouteWatch::OfCallingThread(RouteWatch::Lookup::kExisting);
  if (!watch) return ReadFlagsForAddress(address);
  return watch->DefaultRouteFlags(address.ss_family, [&] { return ReadFlagsForAddress(address); });
}

std::optional<ReachabilityFlags> FlagsForName(const std::string& host_name) {
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  // A name that does not resolve is a target that cannot be reached.
  if (getaddrinfo(host_name.c_str(), nullptr, &hints, &found) != 0 || found == nullptr) return 0;
  sockaddr_storage address{};
  std::memcpy(&address, found->ai_addr, std::min<std::size_t>(found->ai_addrlen, sizeof address));
  freeaddrinfo(found);
  return FlagsForAddress(address);
}

class LinuxReachabilityTarget final : public ReachabilityTarget {
 public:
  using Destination = std::variant<sockaddr_storage, std::string>;

  explicit LinuxReachabilityTarget(Destination destination)
      : destination_(std::move(destination)) {}

  ~LinuxReachabilityTarget() override { StopWatching(nullptr); }

  std::optional<ReachabilityFlags> GetFlags() override {
    if (const auto* address = std::get_if<sockaddr_storage>(&destination_)) {
      return FlagsForAddress(*address);
    }
    return FlagsForName(std::get<std::string>(destination_));
  }

  bool SetCallback(Callback callback) override {
    std::lock_guard lock(mutex_);
    callback_ = std::move(callback);
    return true;
  }

  bool ScheduleWithCurrentRunLoop() override {
    const std::shared_ptr<RunLoop> loop = RunLoop::Current();
    if (const std::shared_ptr<RunLoop> current = scheduled_.loop()) return current == loop;
    std::shared_ptr<RouteWatch> watch = RouteWatch::OfCallingThread(RouteWatch::Lookup::kCreate);
    if (!watch) return false;
    // Watching before the first reading, so that no change falls between.
    const std::uint64_t generation = watch->Generation();
    const std::shared_ptr<SignalTo> signal_to = std::make_shared<SignalTo>();
    const RouteWatch::WatcherId watcher = watch->AddWatcher([signal_to] {
      std::lock_guard lock(signal_to->mutex);
      if (signal_to->signal) signal_to->signal();
    });
    {
      std::lock_guard lock(mutex_);
      watch_ = watch;
      watcher_ = watcher;
      last_flags_ = GetFlags();
    }
    if (!scheduled_.Schedule(loop, watch->fd(), [this] { OnRoutingEvents(); })) {
      StopWatching(nullptr);
      return false;
    }
    {
      std::lock_guard lock(signal_to->mutex);
      signal_to->signal = scheduled_.Signaller();
    }
    // Events taken before the source was on the loop signalled nobody.
    if (watch->Generation() != generation) scheduled_.Signaller()();
    return true;
  }

  bool UnscheduleFromCurrentRunLoop() override { return StopWatching(RunLoop::Current().get()); }

 private:
  // Where a watch's signal goes once the source is on its loop.
  struct SignalTo {
    ForkSafeMutex mutex;
    std::function<void()> signal;  // guarded by mutex
  };

  // Unschedules from `loop` (any loop when nullptr) and leaves the watch.
  bool StopWatching(const RunLoop* loop) {
    const bool unscheduled = scheduled_.Unschedule(loop);
    if (!unscheduled && loop != nullptr) return false;
    std::shared_ptr<RouteWatch> watch;
    RouteWatch::WatcherId watcher = 0;
    {
      std::lock_guard lock(mutex_);
      watch = std::move(watch_);
      watcher = watcher_;
    }
    if (watch) watch->RemoveWatcher(watcher);
    return unscheduled;
  }

  // On the scheduling loop's thread, when the watch's socket is readable or
  // another taker of its events signalled this source.
  void OnRoutingEvents() {
    std::shared_ptr<RouteWatch> watch;
    {
      std::lock_guard lock(mutex_);
      watch = watch_;
    }
    if (watch) watch->TakeEvents();
    // Many events make one change; only a change of the flags is reported.
    const std::optional<ReachabilityFlags> flags = GetFlags();
    Callback callback;
    {
      std::lock_guard lock(mutex_);
      if (flags == last_flags_) return;
      last_flags_ = flags;
      callback = callback_;
    }
    if (callback) callback(flags.value_or(0));
  }

  const Destination destination_;
  ForkSafeMutex mutex_;
  Callback callback_;                            // guarded by mutex_
  std::shared_ptr<RouteWatch> watch_;            // guarded by mutex_; set while scheduled
  RouteWatch::WatcherId watcher_ = 0;            // guarded by mutex_
  std::optional<ReachabilityFlags> last_flags_;  // guarded by mutex_
  // Last, so that it is unscheduled before the members its callback uses go.
  ScheduledSource scheduled_;
};

}  // namespace

std::vector<RouteFacts> ParseRouteReply(std::span<const std::uint8_t> reply) {
  std::vector<RouteFacts> routes;
  for (const NetlinkMessage& message : SplitNetlinkMessages(reply)) {
    if (message.type != RTM_NEWROUTE) continue;
    const std::optional<rtmsg> header = ReadNetlinkValue<rtmsg>(message.payload);
    if (!header) continue;
    RouteFacts route;
    route.family = header->rtm_family;
    route.destination_length = header->rtm_dst_len;
    route.type = header->rtm_type;
    route.table = header->rtm_table;
    route.flags = header->rtm_flags;
    for (const NetlinkAttribute& attribute : AttributesAfter(message, sizeof(rtmsg))) {
      switch (attribute.type) {
        case RTA_OIF:
          route.output_interface = ReadNetlinkValue<std::uint32_t>(attribute.payload);
          break;
        case RTA_GATEWAY:
        case RTA_VIA:
          route.has_gateway = true;
          break;
        case RTA_PRIORITY:
          route.priority = ReadNetlinkValue<std::uint32_t>(attribute.payload).value_or(0);
          break;
        case RTA_TABLE:
          route.table = ReadNetlinkValue<std::uint32_t>(attribute.payload).value_or(route.table);
          break;
        case RTA_MULTIPATH:
          if (!route.output_interface) ReadNextHop(attribute.payload, route);
          break;
        default:
          break;
      }
    }
    routes.push_back(route);
  }
  return routes;
}

std::optional<RouteFacts> SelectDefaultRoute(std::span<const RouteFacts> routes) {
  std::optional<RouteFacts> best;
  for (const RouteFacts& route : routes) {
    if (route.destination_length != 0 || route.type != RTN_UNICAST ||
        route.table == RT_TABLE_LOCAL || (route.flags & RTNH_F_LINKDOWN) != 0) {
      continue;
    }
    if (!best || route.priority < best->priority) best = route;
  }
  return best;
}

ReachabilityFlags FlagsForRoute(const std::optional<RouteFacts>& route, bool egress_is_cellular) {
  if (!route || (route->flags & RTNH_F_LINKDOWN) != 0) return 0;
  ReachabilityFlags flags = 0;
  if (route->type == RTN_LOCAL) {
    flags =
        kReachabilityFlagReachable | kReachabilityFlagIsLocalAddress | kReachabilityFlagIsDirect;
  } else if (route->type == RTN_UNICAST) {
    flags = kReachabilityFlagReachable;
    // A host route without a gateway: the target is on an attached network.
    if (!route->has_gateway && route->destination_length != 0) flags |= kReachabilityFlagIsDirect;
  } else {
    return 0;  // unreachable, blackhole, prohibit, ...
  }
  if (egress_is_cellular) flags |= kReachabilityFlagIsWWAN;
  return flags;
}

bool IsCellularUevent(std::string_view uevent) {
  while (!uevent.empty()) {
    const std::size_t end = uevent.find('\n');
    if (uevent.substr(0, end) == "DEVTYPE=wwan") return true;
    if (end == std::string_view::npos) break;
    uevent.remove_prefix(end + 1);
  }
  return false;
}

std::optional<sockaddr_storage> LinuxSocketAddress(std::span<const std::uint8_t> address) {
  if (address.size() < 2 || address[0] != address.size()) return std::nullopt;
  sockaddr_storage linux_address{};
  if (address[1] == kPlatformInet && address.size() >= 16) {
    auto& ip4 = reinterpret_cast<sockaddr_in&>(linux_address);
    ip4.sin_family = AF_INET;
    std::memcpy(&ip4.sin_port, &address[2], 2);
    std::memcpy(&ip4.sin_addr, &address[4], 4);
    return linux_address;
  }
  if (address[1] == kPlatformInet6 && address.size() >= 28) {
    auto& ip6 = reinterpret_cast<sockaddr_in6&>(linux_address);
    ip6.sin6_family = AF_INET6;
    std::memcpy(&ip6.sin6_port, &address[2], 2);
    std::memcpy(&ip6.sin6_flowinfo, &address[4], 4);
    std::memcpy(&ip6.sin6_addr, &address[8], 16);
    std::memcpy(&ip6.sin6_scope_id, &address[24], 4);
    return linux_address;
  }
  return std::nullopt;
}

std::unique_ptr<ReachabilityTarget> LinuxNetworkReachability::CreateWithName(
    std::string_view host_name) {
  if (host_name.empty()) return nullptr;
  return std::make_unique<LinuxReachabilityTarget>(std::string(host_name));
}

std::unique_ptr<ReachabilityTarget> LinuxNetworkReachability::CreateWithAddress(
    std::span<const std::uint8_t> address) {
  const std::optional<sockaddr_storage> linux_address = LinuxSocketAddress(address);
  if (!linux_address) return nullptr;
  return std::make_unique<LinuxReachabilityTarget>(*linux_address);
}

}  // namespace rqb
