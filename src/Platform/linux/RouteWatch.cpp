#include "Platform/linux/RouteWatch.h"

#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>
#include <vector>

#include "Platform/PerProcess.h"

namespace rqb {
namespace {

// Link, address and route changes of both address families: anything that
// can change which route traffic takes.
constexpr std::uint32_t kRoutingEventGroups =
    RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_ROUTE;

// Events are only ever counted, never read for their content, so a small
// queue is enough: when it overflows, the overflow itself is the event.
constexpr int kEventQueueBytes = 16 * 1024;

std::optional<NetlinkSocket> OpenEventSocket() {
  std::optional<NetlinkSocket> events = NetlinkSocket::Open(NETLINK_ROUTE, kRoutingEventGroups);
  if (events) {
    setsockopt(events->fd(), SOL_SOCKET, SO_RCVBUF, &kEventQueueBytes, sizeof kEventQueueBytes);
  }
  return events;
}

// Identifies a network namespace: the inode of its nsfs file.
struct NamespaceKey {
  dev_t device = 0;
  ino_t inode = 0;
  auto operator<=>(const NamespaceKey&) const = default;
};

std::optional<NamespaceKey> NamespaceOf(const char* path) {
  struct stat info {};
  if (stat(path, &info) != 0) return std::nullopt;
  return NamespaceKey{info.st_dev, info.st_ino};
}

// Looking the namespace up costs a path walk in /proc, several microseconds:
// once per thread.
const std::optional<NamespaceKey>& CallingThreadNamespace() {
  thread_local const std::optional<NamespaceKey> key = NamespaceOf("/proc/thread-self/ns/net");
  return key;
}

}  // namespace

// The watches of the process, one per network namespace in use. Created once
// and never destroyed.
class RouteWatchRegistry {
 public:
  static RouteWatchRegistry& Instance() {
    return MakeOnce([] { return new RouteWatchRegistry(); });
  }

  std::shared_ptr<RouteWatch> Find(const std::optional<NamespaceKey>& key,
                                   RouteWatch::Lookup lookup) {
    std::lock_guard lock(mutex_);
    // Without /proc every namespace looks like the process's own.
    if (!key || key == home_key_) {
      if (!home_) home_ = RouteWatch::Open();
      return home_;
    }
    if (const auto found = others_.find(*key); found != others_.end()) {
      if (std::shared_ptr<RouteWatch> watch = found->second.lock()) return watch;
    }
    if (lookup == RouteWatch::Lookup::kExisting) return nullptr;
    std::erase_if(others_, [](const auto& entry) { return entry.second.expired(); });
    std::shared_ptr<RouteWatch> watch = RouteWatch::Open();
    if (watch) others_[*key] = watch;
    return watch;
  }

 private:
  RouteWatchRegistry() : home_key_(NamespaceOf("/proc/self/ns/net")) {}

  ForkSafeMutex mutex_;
  const std::optional<NamespaceKey> home_key_;
  std::shared_ptr<RouteWatch> home_;                          // guarded by mutex_
  std::map<NamespaceKey, std::weak_ptr<RouteWatch>> others_;  // guarded by mutex_
};

std::shared_ptr<RouteWatch> RouteWatch::OfCallingThread(Lookup lookup) {
  return RouteWatchRegistry::Instance().Find(CallingThreadNamespace(), lookup);
}

std::shared_ptr<RouteWatch> RouteWatch::Open() {
  std::optional<NetlinkSocket> events = OpenEventSocket();
  if (!events) return nullptr;
  return std::shared_ptr<RouteWatch>(new RouteWatch(std::move(*events)));
}

RouteWatch::RouteWatch(NetlinkSocket events)
    : events_(std::move(events)), fd_(events_.fd()), opened_in_(ForkGeneration()) {}

bool RouteWatch::TakeEventsLocked() {
  if (opened_in_ != ForkGeneration()) ReopenInChild();
  if (broken_ || !events_.Drain()) return false;
  ++generation_;
  ipv4_.reset();
  ipv6_.reset();
  return true;
}

void RouteWatch::Signal() {
  std::vector<std::function<void()>> signals;
  {
    std::lock_guard lock(mutex_);
    for (const auto& [id, signal] : watchers_) signals.push_back(signal);
  }
  for (const auto& signal : signals) signal();
}

bool RouteWatch::TakeEvents() {
  {
    std::lock_guard lock(mutex_);
    if (!TakeEventsLocked()) return false;
  }
  Signal();
  return true;
}

std::optional<ReachabilityFlags> RouteWatch::DefaultRouteFlags(
    int family, const std::function<std::optional<ReachabilityFlags>()>& read) {
  std::optional<ReachabilityFlags>& cached = family == AF_INET6 ? ipv6_ : ipv4_;
  std::uint64_t generation = 0;
  bool changed = false;
  {
    std::lock_guard lock(mutex_);
    changed = TakeEventsLocked();
    if (cached) return cached;
    generation = generation_;
  }
  if (changed) Signal();
  // Read without the lock: a reading may wait for the kernel.
  const std::optional<ReachabilityFlags> flags = read();
  {
    std::lock_guard lock(mutex_);
    changed = TakeEventsLocked();
    // Kept only when no event came while reading: the reading may predate it.
    if (flags && !changed && generation == generation_ && !broken_) {
      cached = flags;
    }
  }
  if (changed) Signal();
  return flags;
}

std::uint64_t RouteWatch::Generation() const {
  std::lock_guard lock(mutex_);
  return generation_;
}

RouteWatch::WatcherId RouteWatch::AddWatcher(std::function<void()> signal) {
  std::lock_guard lock(mutex_);
  const WatcherId id = next_watcher_++;
  watchers_.emplace(id, std::move(signal));
  return id;
}

void RouteWatch::RemoveWatcher(WatcherId id) {
  std::lock_guard lock(mutex_);
  watchers_.erase(id);
}

void RouteWatch::ReopenInChild() {
  opened_in_ = ForkGeneration();
  ++generation_;
  ipv4_.reset();
  ipv6_.reset();
  std::optional<NetlinkSocket> own = OpenEventSocket();
  // The parent's socket is left alone either way; without one of its own
  // the child never reads it and reads routes afresh every time.
  broken_ = !own || dup2(own->fd(), fd_) < 0;
}

}  // namespace rqb
