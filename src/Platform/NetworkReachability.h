// Whether a network destination can be reached now, and over what link.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

namespace rqb {

// The reachability flag word, with the bit values of the mobile platform so
// that hosts and receivers read the same numbers everywhere.
using ReachabilityFlags = std::uint32_t;
inline constexpr ReachabilityFlags kReachabilityFlagTransientConnection = 1u << 0;
inline constexpr ReachabilityFlags kReachabilityFlagReachable = 1u << 1;
inline constexpr ReachabilityFlags kReachabilityFlagConnectionRequired = 1u << 2;
inline constexpr ReachabilityFlags kReachabilityFlagConnectionOnTraffic = 1u << 3;
inline constexpr ReachabilityFlags kReachabilityFlagInterventionRequired = 1u << 4;
inline constexpr ReachabilityFlags kReachabilityFlagConnectionOnDemand = 1u << 5;
inline constexpr ReachabilityFlags kReachabilityFlagIsLocalAddress = 1u << 16;
inline constexpr ReachabilityFlags kReachabilityFlagIsDirect = 1u << 17;
inline constexpr ReachabilityFlags kReachabilityFlagIsWWAN = 1u << 18;

// One destination whose reachability can be read, and watched for changes
// on the run loop of the thread that schedules it. Owned by whoever created
// it; destroying it also ends any scheduling still in force, so no callback
// can outlive it.
class ReachabilityTarget {
 public:
  using Callback = std::function<void(ReachabilityFlags)>;

  ReachabilityTarget() = default;
  ReachabilityTarget(const ReachabilityTarget&) = delete;
  ReachabilityTarget& operator=(const ReachabilityTarget&) = delete;
  virtual ~ReachabilityTarget() = default;

  // The flags as of now, or nothing when they cannot be read. May block for
  // a name lookup. Any thread.
  virtual std::optional<ReachabilityFlags> GetFlags() = 0;

  // The function called, with the new flags, when the target's reachability
  // changes while it is scheduled. Replaces an earlier one. Returns false when
  // the callback cannot be installed.
  virtual bool SetCallback(Callback callback) = 0;

  // Watches for changes and calls the callback on the calling thread while
  // that thread runs its run loop. Returns false when watching cannot start,
  // or when the target is scheduled on another thread's loop already.
  virtual bool ScheduleWithCurrentRunLoop() = 0;

  // Stops the watching that ScheduleWithCurrentRunLoop() started on the
  // calling thread. Returns false when the target is not scheduled on this
  // thread's loop. Once this returns, the callback is not running on another
  // thread and is not called again.
  virtual bool UnscheduleFromCurrentRunLoop() = 0;
};

// Makes reachability targets. Called from any thread.
class NetworkReachability {
 public:
  NetworkReachability() = default;
  NetworkReachability(const NetworkReachability&) = delete;
  NetworkReachability& operator=(const NetworkReachability&) = delete;
  virtual ~NetworkReachability() = default;

  // A target for a host name (resolved when the flags are read), or nullptr.
  virtual std::unique_ptr<ReachabilityTarget> CreateWithName(std::string_view host_name) = 0;

  // A target for a socket address in the mobile platform's layout: byte 0 is
  // the length of the whole address, byte 1 the family (2 for IPv4, 30 for
  // IPv6), then port and address in network order. The IPv4 address 0.0.0.0
  // stands for "any route to the internet". nullptr when the address cannot
  // be used.
  virtual std::unique_ptr<ReachabilityTarget> CreateWithAddress(
      std::span<const std::uint8_t> address) = 0;
};

}  // namespace rqb
