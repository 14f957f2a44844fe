// Fakes of the location services and the device calendar, with a main queue
// of the test's own, put in force together.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

#include "Platform/DeviceCalendar.h"
#include "Platform/LocationServices.h"
#include "Platform/MainQueue.h"
#include "Platform/Platform.h"
#include "Platform/linux/IcuDateFormatter.h"

namespace rqb::test {

// Location services with a switch, a status and one cached fix (all zeros
// unless a test sets another) that every manager hands out. Change them only
// while no collection run is going on; the counters count from any thread.
class FakeLocationServices final : public LocationServices {
 public:
  void SetEnabled(bool on) { enabled_ = on; }
  void SetStatus(std::int32_t status) { status_ = status; }
  void SetCachedLocation(std::optional<Location> location) { location_ = std::move(location); }

  bool LocationServicesEnabled() const override { return enabled_; }
  std::int32_t AuthorizationStatus() const override { return status_; }
  std::shared_ptr<LocationManager> CreateManager() override;

  std::atomic<int> managers_created = 0;
  std::atomic<int> cached_location_reads = 0;  // by any manager

 private:
  friend struct FakeLocationManager;
  bool enabled_ = true;
  std::int32_t status_ = kLocationAuthorizedWhenInUse;
  std::optional<Location> location_ = Location{};
};

// pt_BR in America/Sao_Paulo (UTC-3 all year round since 2019), Sunday first,
// one day in the first week.
class FakeDeviceCalendar final : public DeviceCalendar {
 public:
  std::shared_ptr<DateFormatter> CreateDateFormatter(std::string_view pattern) const override {
    return std::make_shared<IcuDateFormatter>(pattern,
                                              CalendarSettings{"pt_BR", "America/Sao_Paulo", 1, 1});
  }
};

// Puts the fakes above and its own main queue in force for its lifetime.
// The process-wide location manager is emptied when it starts and when it
// ends, as in a fresh process.
class FakeLocationPlatform {
 public:
  FakeLocationPlatform();
  ~FakeLocationPlatform();

  FakeLocationServices location;
  FakeDeviceCalendar calendar;
  DrainableMainQueue main_queue;

 private:
  ScopedPlatformOverride override_;  // last: in force only while the fakes exist
};

}  // namespace rqb::test
