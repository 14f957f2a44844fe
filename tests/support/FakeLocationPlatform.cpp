#include "FakeLocationPlatform.h"

#include "Utils/Geolocation/RQBGeolocation.h"

namespace rqb::test {

// Hands out whatever fix the services hold at the time of the read.
struct FakeLocationManager final : LocationManager {
  explicit FakeLocationManager(FakeLocationServices& services) : services(services) {}
  std::optional<Location> CachedLocation() const override {
    ++services.cached_location_reads;
    return services.location_;
  }
  FakeLocationServices& services;
};

std::shared_ptr<LocationManager> FakeLocationServices::CreateManager() {
  ++managers_created;
  return std::make_shared<FakeLocationManager>(*this);
}

FakeLocationPlatform::FakeLocationPlatform()
    : override_(Platform{.main_queue = &main_queue, .location = &location, .calendar = &calendar}) {
  // A manager left by an earlier test would point at fakes that are gone.
  geoLocationManager().Replace(nullptr);
}

FakeLocationPlatform::~FakeLocationPlatform() { geoLocationManager().Replace(nullptr); }

}  // namespace rqb::test
