// The library's only contact with the device's location services. Passive:
// it never starts location updates, never asks for authorization and never
// waits for a fix; it hands out what the location services already hold.
#pragma once

#include <cstdint>
#include <optional>

#include "Platform/LocationServices.h"
#include "RQBehavior/RQBExport.h"
#include "Platform/DeviceCalendar.h"
#include "Utils/SharedGlobal.h"

// Stateless; create one wherever a location is needed.
class RQB_EXPORT RQBGeolocation {
 public:
  // Queues the creation of a new location manager on the main queue, where it
  // replaces geoLocationManager() once the queue is served, and replaces
  // dateFormatter() at once. Does not wait for either. Constructions while a
  // creation waits in the queue share it: the main queue holds at most one
  // such task however many runs go by unserved.
  RQBGeolocation();

  // The location services' cached location, read through geoLocationManager()
  // and only while the host application is authorized (code 0 or 1 below);
  // nothing otherwise, and nothing while no manager has been created yet.
  std::optional<rqb::Location> getLastLocation();

  // The authorization as a code: -4 location services off, -3 not determined
  // (or an unknown status), -1 restricted, -2 denied, 1 authorized always,
  // 0 authorized when in use.
  std::int32_t getAuthorizationStatusCode();
};

namespace rqb {

// The pattern of the timestamps the location code writes: seconds followed
// directly by the zone offset (-0300), and "YYYY" the week-based year.
inline constexpr char kTimestampPattern[] = "YYYY-MM-dd'T'HH:mm:ssZZZ";

// The code table of RQBGeolocation::getAuthorizationStatusCode().
std::int32_t AuthorizationStatusCode(bool location_services_enabled, std::int32_t status);

}  // namespace rqb

// The process-wide location manager: empty until the main queue has run the
// first creation task, then the manager of the latest task that ran. Written
// on the thread serving the main queue, read by collection runs.
rqb::SharedGlobal<rqb::LocationManager>& geoLocationManager();

// A formatter with rqb::kTimestampPattern, replaced by every RQBGeolocation and
// read by nothing: the location collector keeps a formatter of its own.
rqb::SharedGlobal<rqb::DateFormatter>& dateFormatter();
