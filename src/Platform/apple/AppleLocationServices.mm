// Location services through CoreLocation. The library never starts updates
// or asks for authorization: it reads what CLLocationManager already holds.
#import <CoreLocation/CoreLocation.h>
#include <dispatch/dispatch.h>

#include <memory>

#include "Platform/LocationServices.h"
#include "Platform/apple/AppleBridge.h"
#include "Platform/apple/AppleProviders.h"

namespace rqb::apple {
namespace {

class AppleLocationManager final : public LocationManager {
 public:
  explicit AppleLocationManager(CLLocationManager* manager) : manager_(manager) {}

  // The last reference may go on a collection thread; the manager itself is
  // released on the main thread, where it was made.
  ~AppleLocationManager() override {
    CLLocationManager* manager = manager_;
    dispatch_async(dispatch_get_main_queue(), ^{
      (void)manager;
    });
  }

  std::optional<Location> CachedLocation() const override {
    return CallPlatform([&]() -> std::optional<Location> {
      @autoreleasepool {
        CLLocation* cached = manager_.location;
        if (cached == nil) return std::nullopt;
        Location location;
        location.latitude = cached.coordinate.latitude;
        location.longitude = cached.coordinate.longitude;
        location.altitude = cached.altitude;
        location.timestamp = ToTimePoint(cached.timestamp);
        location.horizontal_accuracy = cached.horizontalAccuracy;
        location.vertical_accuracy = cached.verticalAccuracy;
        location.course = cached.course;
        location.speed = cached.speed;
        if (CLFloor* floor = cached.floor) location.floor_level = static_cast<long>(floor.level);
        return location;
      }
    });
  }

 private:
  CLLocationManager* const manager_;
};

class AppleLocationServices final : public LocationServices {
 public:
  bool LocationServicesEnabled() const override {
    return CallPlatform(
        [] { return static_cast<bool>([CLLocationManager locationServicesEnabled]); });
  }

  // The class-level status, the one every iOS version answers (iOS 14 moved
  // it to the instance, which needs a manager the caller may not have yet).
  std::int32_t AuthorizationStatus() const override {
    return CallPlatform(
        [] { return static_cast<std::int32_t>([CLLocationManager authorizationStatus]); });
  }

  // Called on the main thread, as CLLocationManager wants.
  std::shared_ptr<LocationManager> CreateManager() override {
    return CallPlatform(
        [] { return std::make_shared<AppleLocationManager>([[CLLocationManager alloc] init]); });
  }
};

}  // namespace

LocationServices* NewLocationServices() { return new AppleLocationServices(); }

}  // namespace rqb::apple
