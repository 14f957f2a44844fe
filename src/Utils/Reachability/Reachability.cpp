#include "Utils/Reachability/Reachability.h"

#include <array>
#include <span>
#include <utility>

#include "Platform/NetworkReachability.h"
#include "Platform/NotificationPoster.h"
#include "Platform/Platform.h"

const char* const kReachabilityChangedNotification = "kNetworkReachabilityChangedNotification";

namespace {

// IPv4 0.0.0.0, port 0, laid out as the mobile platform lays a sockaddr_in:
// length 16, family AF_INET (2), then zeros. It stands for the default route.
constexpr std::array<std::uint8_t, 16> kZeroAddress = {0x10, 0x02};

}  // namespace

std::unique_ptr<Reachability> Reachability::WithTarget(
    std::unique_ptr<rqb::ReachabilityTarget> target) {
  if (!target) return nullptr;
  return std::unique_ptr<Reachability>(new Reachability(std::move(target)));
}

Reachability::Reachability(std::unique_ptr<rqb::ReachabilityTarget> target)
    : reachabilityRef_(std::move(target)) {}

Reachability::~Reachability() {
  // Unscheduled first: the callback refers to this object.
  stopNotifier();
  reachabilityRef_.reset();
}

std::unique_ptr<Reachability> Reachability::reachabilityWithHostName(const std::string& hostName) {
  return WithTarget(rqb::CurrentPlatform().network_reachability->CreateWithName(hostName));
}

std::unique_ptr<Reachability> Reachability::reachabilityWithAddress(const void* hostAddress) {
  if (hostAddress == nullptr) return nullptr;
  // The address carries its own length in its first byte.
  const auto* bytes = static_cast<const std::uint8_t*>(hostAddress);
  return WithTarget(rqb::CurrentPlatform().network_reachability->CreateWithAddress(
      std::span<const std::uint8_t>(bytes, bytes[0])));
}

std::unique_ptr<Reachability> Reachability::reachabilityForInternetConnection() {
  return reachabilityWithAddress(kZeroAddress.data());
}

bool Reachability::startNotifier() {
  // The callback holds this object without owning it: the monitor must stay
  // alive while scheduled, which its destructor guarantees by unscheduling.
  const bool installed = reachabilityRef_->SetCallback([this](rqb::ReachabilityFlags) {
    rqb::CurrentPlatform().notifications->Post(kReachabilityChangedNotification, this);
  });
  if (!installed) return false;
  return reachabilityRef_->ScheduleWithCurrentRunLoop();
}

void Reachability::stopNotifier() {
  if (reachabilityRef_) reachabilityRef_->UnscheduleFromCurrentRunLoop();
}

bool Reachability::connectionRequired() const {
  const std::optional<rqb::ReachabilityFlags> flags = reachabilityRef_->GetFlags();
  return flags && (*flags & rqb::kReachabilityFlagConnectionRequired) != 0;
}

ReachabilityStatus Reachability::currentReachabilityStatus() const {
  const std::optional<rqb::ReachabilityFlags> flags = reachabilityRef_->GetFlags();
  return flags ? networkStatusForFlags(*flags) : ReachabilityStatusNone;
}

ReachabilityStatus Reachability::networkStatusForFlags(std::uint32_t flags) const {
  if ((flags & rqb::kReachabilityFlagReachable) == 0) return ReachabilityStatusNone;
  // A cellular link counts even when a connection must first be made.
  if ((flags & rqb::kReachabilityFlagIsWWAN) != 0) return ReachabilityStatusWWAN;
  // A connection that is made automatically, without the user, counts too.
  const bool automatic = (flags & (rqb::kReachabilityFlagConnectionOnTraffic |
                                   rqb::kReachabilityFlagConnectionOnDemand)) != 0;
  if (automatic && (flags & rqb::kReachabilityFlagInterventionRequired) == 0) {
    return ReachabilityStatusWiFi;
  }
  if ((flags & rqb::kReachabilityFlagConnectionRequired) == 0) return ReachabilityStatusWiFi;
  return ReachabilityStatusNone;
}
