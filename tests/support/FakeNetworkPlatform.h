// Fakes of the network providers: reachability, Wi-Fi networks, telephony.
#pragma once

#include "FakePlatform.h"
#include "Platform/CaptiveNetwork.h"
#include "Platform/NetworkReachability.h"
#include "Platform/Telephony.h"

namespace rqb::test {

struct FakeReachabilityTarget;

// Targets that read the flags the test sets and see the changes it injects.
// Any thread.
class FakeNetworkReachability final : public NetworkReachability {
 public:
  std::unique_ptr<ReachabilityTarget> CreateWithName(std::string_view host_name) override;
  std::unique_ptr<ReachabilityTarget> CreateWithAddress(
      std::span<const std::uint8_t> address) override;

  // nullopt: the flags cannot be read.
  void SetFlags(std::optional<ReachabilityFlags> flags);
  // Every live target sees a change, which reaches its callback on the
  // thread of the loop it is scheduled on, when that loop next runs.
  void InjectChange();

  // Set before the code under test runs: no target can be made.
  bool refuse_targets = false;
  // Read once no other thread makes or uses targets. What happened to them,
  // in order: "create", "schedule", "unschedule", "destroy" ("destroy while
  // scheduled" when nobody unscheduled it); the last address asked for.
  std::vector<std::string> events;
  std::vector<std::uint8_t> last_address;

 private:
  friend struct FakeReachabilityTarget;
  void Record(std::string event, FakeReachabilityTarget* destroyed = nullptr);

  mutable std::mutex mutex_;
  std::optional<ReachabilityFlags> flags_ = kReachabilityFlagReachable;
  std::vector<FakeReachabilityTarget*> targets_;  // the live ones
};

// Interfaces and their network dictionaries as the test sets them, before
// the code under test runs; an interface without an entry has no network.
struct FakeCaptiveNetwork final : CaptiveNetwork {
  std::optional<std::vector<std::string>> CopySupportedInterfaces() override { return interfaces; }
  std::optional<NetworkInfo> CopyCurrentNetworkInfo(std::string_view interface_name) override {
    const auto found = networks.find(interface_name);
    return found != networks.end() ? found->second : std::nullopt;
  }

  std::optional<std::vector<std::string>> interfaces;
  std::map<std::string, std::optional<NetworkInfo>, std::less<>> networks;
};

// Carriers as the test sets them, before the code under test runs.
struct FakeTelephony final : Telephony {
  std::optional<CarrierDictionary> ServiceSubscriberCellularProviders() override {
    ++questions;
    return carriers;
  }

  std::optional<CarrierDictionary> carriers;
  int questions = 0;
};

// The network fakes and a system version of 12.0, in force while it lives.
// Make it after any fixture of wider scope (e.g. PlatformTest), so that the
// overrides end in reverse order.
struct FakeNetworkPlatform {
  FakeNetworkReachability reachability;
  FakeCaptiveNetwork captive_network;
  FakeTelephony telephony;
  FixedOperatingSystem operating_system{"12.0"};

 private:
  const ScopedPlatformOverride in_force_{Platform{.operating_system = &operating_system,
                                                  .network_reachability = &reachability,
                                                  .captive_network = &captive_network,
                                                  .telephony = &telephony}};
};

}  // namespace rqb::test
