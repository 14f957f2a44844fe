// Fakes of the location services and the device calendar, with a main queue
// of the test's own, put in force together.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>

#include "Platform/DeviceCalendar.h"
#include "Platform/LocationServices.h"
#include "Platform/MainQueue.h"
#include "Platform/Platform.h"
#include "Platform/linux/IcuDateFormatter.h"
#include "Utils/Geolocation/RQBGeolocation.h"

namespace rqb::test {

// Location services with a switch, a status and one cached fix (all zeros
// unless a test sets another) that every manager hands out at the time it is
// read. Change them only while no collection run is going on; the counters
// count from any thread.
struct FakeLocationServices final : LocationServices {
  bool LocationServicesEnabled() const override { return enabled; }
  std::int32_t AuthorizationStatus() const override { return status; }
  std::shared_ptr<LocationManager> CreateManager() override {
    ++managers_created;
    return std::make_shared<Manager>(*this);
  }

  bool enabled = true;
  std::int32_t status = kLocationAuthorizedWhenInUse;
  std::optional<Location> location = Location{};
  std::atomic<int> managers_created = 0;
  std::atomic<int> cached_location_reads = 0;  // by any manager

 private:
  struct Manager final : LocationManager {
    explicit Manager(FakeLocationServices& services) : services(services) {}
    std::optional<Location> CachedLocation() const override {
      ++services.cached_location_reads;
      return services.location;
    }
    FakeLocationServices& services;
  };
};

// pt_BR in America/Sao_Paulo (UTC-3 all year round since 2019), Sunday first,
// one day in the first week.
struct FakeDeviceCalendar final : DeviceCalendar {
  std::shared_ptr<DateFormatter> CreateDateFormatter(std::string_view pattern) const override {
    return std::make_shared<IcuDateFormatter>(pattern,
                                              CalendarSettings{"pt_BR", "America/Sao_Paulo", 1, 1});
  }
};

// Puts the fakes above and its own main queue in force for its lifetime.
// The process-wide location manager is emptied when it starts and when it
// ends, as in a fresh process: a manager left by an earlier test would point
// at fakes that are gone.
struct FakeLocationPlatform {
  FakeLocationPlatform() { geoLocationManager().Replace(nullptr); }
  ~FakeLocationPlatform() { geoLocationManager().Replace(nullptr); }

  FakeLocationServices location;
  FakeDeviceCalendar calendar;
  DrainableMainQueue main_queue;

 private:
  // Last: in force only while the fakes exist.
  ScopedPlatformOverride override_{
      Platform{.main_queue = &main_queue, .location = &location, .calendar = &calendar}};
};

}  // namespace rqb::test
