#include "FakeLocationPlatform.h"

#include <utility>

#include "Utils/Geolocation/RQBGeolocation.h"

namespace rqb::test {

class FakeLocationManager final : public LocationManager {
 public:
  FakeLocationManager(FakeLocationServices& services, int serial)
      : services_(services), serial_(serial) {}
  std::optional<Location> CachedLocation() const override { return services_.ReadCachedLocation(); }
  int serial() const { return serial_; }

 private:
  FakeLocationServices& services_;
  const int serial_;
};

void FakeLocationServices::SetEnabled(bool enabled) {
  std::lock_guard lock(mutex_);
  enabled_ = enabled;
}

void FakeLocationServices::SetStatus(std::int32_t status) {
  std::lock_guard lock(mutex_);
  status_ = status;
}

void FakeLocationServices::SetCachedLocation(std::optional<Location> location) {
  std::lock_guard lock(mutex_);
  location_ = std::move(location);
}

std::size_t FakeLocationServices::ManagersCreated() const {
  std::lock_guard lock(mutex_);
  return managers_created_;
}

std::size_t FakeLocationServices::CachedLocationReads() const {
  std::lock_guard lock(mutex_);
  return cached_location_reads_;
}

std::thread::id FakeLocationServices::LastCreatingThread() const {
  std::lock_guard lock(mutex_);
  return last_creating_thread_;
}

int FakeLocationServices::SerialOf(const LocationManager& manager) {
  return dynamic_cast<const FakeLocationManager&>(manager).serial();
}

bool FakeLocationServices::LocationServicesEnabled() const {
  std::lock_guard lock(mutex_);
  return enabled_;
}

std::int32_t FakeLocationServices::AuthorizationStatus() const {
  std::lock_guard lock(mutex_);
  return status_;
}

std::shared_ptr<LocationManager> FakeLocationServices::CreateManager() {
  std::lock_guard lock(mutex_);
  last_creating_thread_ = std::this_thread::get_id();
  return std::make_shared<FakeLocationManager>(*this, static_cast<int>(++managers_created_));
}

std::optional<Location> FakeLocationServices::ReadCachedLocation() {
  std::lock_guard lock(mutex_);
  ++cached_location_reads_;
  return location_;
}

void FakeDeviceCalendar::Set(CalendarSettings settings) {
  std::lock_guard lock(mutex_);
  settings_ = std::move(settings);
}

CalendarSettings FakeDeviceCalendar::Current() const {
  std::lock_guard lock(mutex_);
  return settings_;
}

namespace {

Platform LocationFakes(FakeLocationServices& location, FakeDeviceCalendar& calendar,
                       MainQueue& main_queue) {
  // A manager left by an earlier test would point at fakes that are gone.
  geoLocationManager().Replace(nullptr);
  Platform fakes;
  fakes.location = &location;
  fakes.calendar = &calendar;
  fakes.main_queue = &main_queue;
  return fakes;
}

}  // namespace

FakeLocationPlatform::FakeLocationPlatform()
    : override_(LocationFakes(location, calendar, main_queue)) {}

FakeLocationPlatform::~FakeLocationPlatform() { geoLocationManager().Replace(nullptr); }

}  // namespace rqb::test
