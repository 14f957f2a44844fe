// Fakes of the location services and the device calendar, with a main queue
// of the test's own, put in force together.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "Platform/DeviceCalendar.h"
#include "Platform/LocationServices.h"
#include "Platform/MainQueue.h"
#include "Platform/Platform.h"

namespace rqb::test {

// Location services with a switch, a status and one cached fix that every
// manager hands out. Counts what the code under test asked of it.
class FakeLocationServices final : public LocationServices {
 public:
  void SetEnabled(bool enabled);
  void SetStatus(std::int32_t status);
  void SetCachedLocation(std::optional<Location> location);

  std::size_t ManagersCreated() const;
  // Reads of a manager's cached location, by any manager.
  std::size_t CachedLocationReads() const;
  std::thread::id LastCreatingThread() const;
  // The creation number (1, 2, ...) of a manager this fake made.
  static int SerialOf(const LocationManager& manager);

  bool LocationServicesEnabled() const override;
  std::int32_t AuthorizationStatus() const override;
  std::shared_ptr<LocationManager> CreateManager() override;

 private:
  friend class FakeLocationManager;
  std::optional<Location> ReadCachedLocation();

  mutable std::mutex mutex_;
  bool enabled_ = true;                                 // guarded by mutex_
  std::int32_t status_ = kLocationAuthorizedWhenInUse;  // guarded by mutex_
  std::optional<Location> location_;                    // guarded by mutex_
  std::size_t managers_created_ = 0;                    // guarded by mutex_
  std::size_t cached_location_reads_ = 0;               // guarded by mutex_
  std::thread::id last_creating_thread_;                // guarded by mutex_
};

// Fixed regional settings: pt_BR in America/Sao_Paulo (UTC-3 all year round
// since 2019), Sunday first, one day in the first week, unless a test sets
// others.
class FakeDeviceCalendar final : public DeviceCalendar {
 public:
  void Set(CalendarSettings settings);
  CalendarSettings Current() const override;

 private:
  mutable std::mutex mutex_;
  CalendarSettings settings_{"pt_BR", "America/Sao_Paulo", 1, 1};  // guarded by mutex_
};

// Puts the fakes above and its own main queue in force for its lifetime.
// The process-wide location manager is emptied when it starts and when it
// ends, as in a fresh process.
class FakeLocationPlatform {
 public:
  FakeLocationPlatform();
  ~FakeLocationPlatform();

  FakeLocationPlatform(const FakeLocationPlatform&) = delete;
  FakeLocationPlatform& operator=(const FakeLocationPlatform&) = delete;

  FakeLocationServices location;
  FakeDeviceCalendar calendar;
  MainQueue main_queue;

 private:
  ScopedPlatformOverride override_;  // last: in force only while the fakes exist
};

}  // namespace rqb::test
