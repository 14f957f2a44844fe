// The device's location services on Linux: the desktop location service,
// GeoClue2, on the D-Bus system bus.
#pragma once

#include "Platform/LocationServices.h"

namespace rqb {

// Location services are on when GeoClue2 answers on the system bus and
// offers some accuracy (AvailableAccuracyLevel above NONE); no bus, no
// service, a late answer or an accuracy of NONE count as off.
//
// GeoClue2 hands a location only to a client it has started, after its agent
// has granted the application access. The library is passive: it never starts
// a client and never asks for access, so the application's status stays "not
// determined" and managers hold no cached location.
class LinuxLocationServices final : public LocationServices {
 public:
  bool LocationServicesEnabled() const override;
  std::int32_t AuthorizationStatus() const override;
  std::shared_ptr<LocationManager> CreateManager() override;
};

}  // namespace rqb
