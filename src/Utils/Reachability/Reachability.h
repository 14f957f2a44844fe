// Whether the network is reachable now and over what kind of link, with a
// notification when that changes.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "RQBehavior/RQBExport.h"

namespace rqb {
class ReachabilityTarget;
}

// The name of the notification a started monitor posts on the default
// notification center when its target's reachability changes; the object is
// the monitor. Its value is "kNetworkReachabilityChangedNotification".
RQB_EXPORT extern const char* const kReachabilityChangedNotification;

enum ReachabilityStatus : long {
  ReachabilityStatusNone = 0,  // not reachable, or the flags could not be read
  ReachabilityStatusWiFi = 1,  // reachable over a local, non-cellular link
  ReachabilityStatusWWAN = 2,  // reachable over the cellular link
};

// Watches one network destination. The status queries work from any thread
// at any time. startNotifier() and stopNotifier() act on the calling thread's
// run loop, so a monitor is started and stopped on the same thread, and its
// notifications are posted on that thread while its run loop runs.
class RQB_EXPORT Reachability {
 public:
  // Monitors for a host name, for a socket address in the mobile platform's
  // layout (byte 0 its length, byte 1 its family: 2 for IPv4, 30 for IPv6),
  // and for any route to the internet. nullptr when the target cannot be made.
  static std::unique_ptr<Reachability> reachabilityWithHostName(const std::string& hostName);
  static std::unique_ptr<Reachability> reachabilityWithAddress(const void* hostAddress);
  static std::unique_ptr<Reachability> reachabilityForInternetConnection();

  Reachability(const Reachability&) = delete;
  Reachability& operator=(const Reachability&) = delete;
  // Stops the notifier on the calling thread's run loop, then releases the
  // target.
  ~Reachability();

  // Schedules change notifications on the calling thread's run loop. Returns
  // false when that is not possible. The monitor must outlive the schedule.
  bool startNotifier();
  // Unschedules from the calling thread's run loop.
  void stopNotifier();

  // True only when the flags could be read and say a connection must first
  // be established.
  bool connectionRequired() const;
  ReachabilityStatus currentReachabilityStatus() const;
  // The status that a reachability flag word stands for.
  ReachabilityStatus networkStatusForFlags(std::uint32_t flags) const;

 private:
  explicit Reachability(std::unique_ptr<rqb::ReachabilityTarget> target);
  // The monitor owning `target`, or nullptr when there is no target.
  static std::unique_ptr<Reachability> WithTarget(std::unique_ptr<rqb::ReachabilityTarget> target);

  std::unique_ptr<rqb::ReachabilityTarget> reachabilityRef_;
};
