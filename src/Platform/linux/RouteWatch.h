// The routing events of one network namespace, received once for the whole
// process and shared by every reachability target there, with the default
// route's flags kept until the next event.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>

#include "Platform/ForkGate.h"
#include "Platform/NetworkReachability.h"
#include "Platform/linux/Netlink.h"

namespace rqb {

// One netlink socket subscribed to link, address and route changes of both
// address families in one network namespace. Whoever takes its events (a
// reading, or a run loop that found its socket readable) forgets the cached
// default-route flags and signals every watcher, so that no taker hides a
// change from the others.
//
// After fork() the child gets a socket of its own in place of the parent's
// (same descriptor number) before it takes any event, so that neither process
// takes the other's events.
class RouteWatch {
 public:
  enum class Lookup {
    kExisting,  // nullptr unless a watch of the caller's namespace exists
    kCreate,    // made when missing
  };

  // The watch of the calling thread's network namespace, or nullptr when the
  // system refuses the socket. The process's own namespace keeps its watch
  // for good; another namespace's lives while someone holds it, so that the
  // process never keeps a namespace alive. A thread's namespace is looked up
  // on its first call and remembered.
  static std::shared_ptr<RouteWatch> OfCallingThread(Lookup lookup);

  RouteWatch(const RouteWatch&) = delete;
  RouteWatch& operator=(const RouteWatch&) = delete;

  // The descriptor that becomes readable when events wait. Fixed for the
  // watch's life.
  int fd() const { return fd_; }

  // Takes the events waiting, if any; then forgets the cached flags and
  // signals the watchers. Returns whether there were any. Any thread.
  bool TakeEvents();

  // The default route's flags for `family` (AF_INET or AF_INET6) as `read`
  // gives them; `read` is called only when a routing event came after the
  // last reading that could be kept. Nothing read is kept when `read` fails.
  std::optional<ReachabilityFlags> DefaultRouteFlags(
      int family, const std::function<std::optional<ReachabilityFlags>()>& read);

  // Counts the takings of events; a change of it means something changed.
  std::uint64_t Generation() const;

  // `signal` is called, on the taking thread and with no lock held, after
  // each taking of events. It may still be called once after RemoveWatcher().
  using WatcherId = std::uint64_t;
  WatcherId AddWatcher(std::function<void()> signal);
  void RemoveWatcher(WatcherId id);

 private:
  friend class RouteWatchRegistry;

  explicit RouteWatch(NetlinkSocket events);
  static std::shared_ptr<RouteWatch> Open();

  // With mutex_ held. Returns whether there were events.
  bool TakeEventsLocked();
  // Calls the watchers' signals; without mutex_.
  void Signal();
  // In a forked child, before its first use of the socket, with mutex_ held:
  // a socket of the child's own under the same descriptor, and nothing
  // cached.
  void ReopenInChild();

  NetlinkSocket events_;
  const int fd_;
  mutable ForkSafeMutex mutex_;
  std::uint64_t opened_in_;       // guarded by mutex_: the fork generation of the socket
  bool broken_ = false;           // guarded by mutex_: no socket of its own after fork
  std::uint64_t generation_ = 0;  // guarded by mutex_
  // The default route's flags, until the next event.
  std::optional<ReachabilityFlags> ipv4_;                // guarded by mutex_
  std::optional<ReachabilityFlags> ipv6_;                // guarded by mutex_
  std::map<WatcherId, std::function<void()>> watchers_;  // guarded by mutex_
  WatcherId next_watcher_ = 1;                           // guarded by mutex_
};

}  // namespace rqb
