#include "Utils/Geolocation/RQBGeolocation.h"

#include <array>
#include <memory>
#include <mutex>

#include "Platform/DeviceCalendar.h"
#include "Platform/ForkGate.h"
#include "Platform/MainQueue.h"
#include "Platform/Platform.h"

rqb::SharedGlobal<rqb::LocationManager>& geoLocationManager() {
  return rqb::MakeOnce([] { return new rqb::SharedGlobal<rqb::LocationManager>(); });
}

rqb::SharedGlobal<rqb::DateFormatter>& dateFormatter() {
  return rqb::MakeOnce([] { return new rqb::SharedGlobal<rqb::DateFormatter>(); });
}

namespace {

// The manager creation waiting in the main queue, if any. One waiting task
// serves every construction since it was queued, so that a host that never
// serves the queue holds one task, not one per collection run. The task owns
// the token, so a queue that is dropped with the task frees the way for the
// next one.
struct WaitingCreation {
  rqb::ForkSafeMutex mutex;
  std::weak_ptr<void> token;  // guarded by mutex
};

WaitingCreation& Waiting() {
  return rqb::MakeOnce([] { return new WaitingCreation(); });
}

// A token for a new creation task, or nothing when one is waiting already.
std::shared_ptr<void> ClaimCreation() {
  WaitingCreation& waiting = Waiting();
  std::lock_guard lock(waiting.mutex);
  if (!waiting.token.expired()) return nullptr;
  auto token = std::make_shared<char>();
  waiting.token = token;
  return token;
}

void CreateManagerOnMainThread() {
  {
    // Released before the manager is made: a construction from now on queues
    // a task of its own, so every construction is followed by a new manager.
    WaitingCreation& waiting = Waiting();
    std::lock_guard lock(waiting.mutex);
    waiting.token.reset();
  }
  geoLocationManager().Replace(rqb::CurrentPlatform().location->CreateManager());
}

}  // namespace

namespace rqb {

std::int32_t AuthorizationStatusCode(bool location_services_enabled, std::int32_t status) {
  if (!location_services_enabled) return -4;
  // The codes are deliberately not the platform's numbers: statuses 1 to 4
  // (restricted, denied, always, when in use) map to -1, -2, 1, 0. Shifting
  // by one as unsigned sends status 0 and negative statuses out of range.
  constexpr std::array<std::int32_t, 4> kCodes = {-1, -2, 1, 0};
  const std::uint32_t index = static_cast<std::uint32_t>(status) - 1u;
  return index < kCodes.size() ? kCodes[index] : -3;
}

}  // namespace rqb

RQBGeolocation::RQBGeolocation() {
  const rqb::Platform& platform = rqb::CurrentPlatform();
  // Asynchronous on purpose: the manager exists only once the main queue has
  // been served, so a read right after the first construction finds none.
  if (std::shared_ptr<void> token = ClaimCreation()) {
    platform.main_queue->Submit([token = std::move(token)] { CreateManagerOnMainThread(); });
  }
  dateFormatter().Replace(platform.calendar->CreateDateFormatter(rqb::kTimestampPattern));
}

std::optional<rqb::Location> RQBGeolocation::getLastLocation() {
  const std::int32_t code = getAuthorizationStatusCode();
  if (code != 0 && code != 1) return std::nullopt;
  const std::shared_ptr<rqb::LocationManager> manager = geoLocationManager().Load();
  if (!manager) return std::nullopt;
  return manager->CachedLocation();
}

std::int32_t RQBGeolocation::getAuthorizationStatusCode() {
  const rqb::LocationServices& location = *rqb::CurrentPlatform().location;
  // The status is read only while the services are on.
  const bool enabled = location.LocationServicesEnabled();
  return rqb::AuthorizationStatusCode(enabled, enabled ? location.AuthorizationStatus() : 0);
}
