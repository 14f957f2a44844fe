// The device's location services: whether they are on, what the host
// application may see, and the location they have already cached.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>

namespace rqb {

// One location fix as the location services keep it.
struct Location {
  double latitude = 0;   // degrees
  double longitude = 0;  // degrees
  double altitude = 0;   // metres
  std::chrono::system_clock::time_point timestamp;
  double horizontal_accuracy = 0;   // metres
  double vertical_accuracy = 0;     // metres
  double course = -1;               // degrees; negative when unknown
  double speed = -1;                // metres per second; negative when unknown
  std::optional<long> floor_level;  // absent when the floor is unknown
};

// A location manager object. The library never configures or starts one; it
// only reads what the location services already hold for it.
class LocationManager {
 public:
  LocationManager() = default;
  LocationManager(const LocationManager&) = delete;
  LocationManager& operator=(const LocationManager&) = delete;
  virtual ~LocationManager() = default;

  // The most recent fix the location services have cached, or nothing. Never
  // waits for a new fix. Called from any thread; never throws.
  virtual std::optional<Location> CachedLocation() const = 0;
};

// The authorization statuses of the host application, in the platform's own
// numbering. Providers may report other values; callers must cope.
enum LocationAuthorizationStatus : std::int32_t {
  kLocationNotDetermined = 0,
  kLocationRestricted = 1,
  kLocationDenied = 2,
  kLocationAuthorizedAlways = 3,
  kLocationAuthorizedWhenInUse = 4,
};

class LocationServices {
 public:
  LocationServices() = default;
  LocationServices(const LocationServices&) = delete;
  LocationServices& operator=(const LocationServices&) = delete;
  virtual ~LocationServices() = default;

  // Whether location services are on for the device. A service that cannot be
  // reached counts as off. Called from any thread; returns within a fraction
  // of a second; never throws.
  virtual bool LocationServicesEnabled() const = 0;

  // The host application's authorization status (see above). Called from any
  // thread; never throws.
  virtual std::int32_t AuthorizationStatus() const = 0;

  // A new, unconfigured manager, owned by the caller. Called on the thread
  // that serves the main queue; never returns nullptr.
  virtual std::shared_ptr<LocationManager> CreateManager() = 0;
};

}  // namespace rqb
