// Fakes of the network providers: reachability, Wi-Fi networks, telephony.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "FakePlatform.h"
#include "Platform/CaptiveNetwork.h"
#include "Platform/NetworkReachability.h"
#include "Platform/Platform.h"
#include "Platform/RunLoop.h"
#include "Platform/Telephony.h"

namespace rqb::test {

class FakeReachabilityTarget;

// Targets whose flags the test sets, and whose changes it injects. Records
// what happens to targets, in order: "create", "schedule", "unschedule" and
// "destroy" events.
class FakeNetworkReachability final : public NetworkReachability {
 public:
  std::unique_ptr<ReachabilityTarget> CreateWithName(std::string_view host_name) override;
  std::unique_ptr<ReachabilityTarget> CreateWithAddress(
      std::span<const std::uint8_t> address) override;

  // The flags every target reads; nothing makes the reading fail.
  void SetFlags(std::optional<ReachabilityFlags> flags);
  // Failures to inject: no target at all, no scheduling.
  void RefuseTargets(bool refuse);
  void RefuseScheduling(bool refuse);

  // Makes every scheduled target see a change: its callback runs on the
  // scheduling loop's thread when that loop next runs. Any thread.
  void InjectChange();

  std::vector<std::string> Events() const;
  // The address bytes that targets were asked for.
  std::vector<std::vector<std::uint8_t>> Addresses() const;

 private:
  friend class FakeReachabilityTarget;
  std::unique_ptr<ReachabilityTarget> MakeTarget();
  void Record(std::string event);
  // A target's last word before it is destroyed.
  void Forget(FakeReachabilityTarget* target);

  mutable std::mutex mutex_;
  std::optional<ReachabilityFlags> flags_ = kReachabilityFlagReachable;
  bool refuse_targets_ = false;
  bool refuse_scheduling_ = false;
  std::vector<std::string> events_;
  std::vector<std::vector<std::uint8_t>> addresses_;
  std::vector<FakeReachabilityTarget*> targets_;  // alive ones
};

// Interfaces and their network dictionaries as the test sets them, before
// the code under test runs; an interface without an entry has no network.
class FakeCaptiveNetwork final : public CaptiveNetwork {
 public:
  std::optional<std::vector<std::string>> CopySupportedInterfaces() override { return interfaces; }
  std::optional<NetworkInfo> CopyCurrentNetworkInfo(std::string_view interface_name) override {
    const auto found = networks.find(interface_name);
    return found != networks.end() ? found->second : std::nullopt;
  }

  std::optional<std::vector<std::string>> interfaces;
  std::map<std::string, std::optional<NetworkInfo>, std::less<>> networks;
};

// Carriers as the test sets them, before the code under test runs.
class FakeTelephony final : public Telephony {
 public:
  std::optional<CarrierDictionary> ServiceSubscriberCellularProviders() override {
    return carriers;
  }

  std::optional<CarrierDictionary> carriers;
};

// The network fakes and a system version of 12.0, in force while it lives.
// Make it after any fixture of wider scope (e.g. PlatformTest), so that the
// overrides end in reverse order.
struct FakeNetworkPlatform {
  explicit FakeNetworkPlatform(const char* system_version = "12.0");

  FakeNetworkReachability reachability;
  FakeCaptiveNetwork captive_network;
  FakeTelephony telephony;
  FixedOperatingSystem operating_system;

 private:
  std::optional<ScopedPlatformOverride> in_force_;
};

}  // namespace rqb::test
