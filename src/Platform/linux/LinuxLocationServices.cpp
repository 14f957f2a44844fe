#include "Platform/linux/LinuxLocationServices.h"

#include <systemd/sd-bus.h>

#include <cstdint>
#include <optional>

#include "Platform/linux/SystemBus.h"

namespace rqb {
namespace {

// A slow or wedged bus must never hold up a collection run.
constexpr std::uint64_t kBusCallTimeoutMicroseconds = 250'000;

// GeoClue2's accuracy level NONE: no location source is available.
constexpr std::uint32_t kAccuracyLevelNone = 0;

// GeoClue2's AvailableAccuracyLevel, or nothing when the system bus or the
// service cannot be reached in time.
std::optional<std::uint32_t> ReadAvailableAccuracyLevel() {
  const SystemBusLease bus(kBusCallTimeoutMicroseconds);
  if (!bus) return std::nullopt;
  std::optional<std::uint32_t> level;
  sd_bus_error error{};  // SD_BUS_ERROR_NULL, without its C99 compound literal
  std::uint32_t value = 0;
  if (bus.sd().get_property_trivial(
          bus.get(), "org.freedesktop.GeoClue2", "/org/freedesktop/GeoClue2/Manager",
          "org.freedesktop.GeoClue2.Manager", "AvailableAccuracyLevel", &error, 'u', &value) >= 0) {
    level = value;
  }
  bus.sd().error_free(&error);
  return level;
}

// A manager that was never started: GeoClue2 keeps no location for it.
class UnstartedGeoClueManager final : public LocationManager {
 public:
  std::optional<Location> CachedLocation() const override { return std::nullopt; }
};

}  // namespace

bool LinuxLocationServices::LocationServicesEnabled() const {
  const std::optional<std::uint32_t> level = ReadAvailableAccuracyLevel();
  return level && *level > kAccuracyLevelNone;
}

std::int32_t LinuxLocationServices::AuthorizationStatus() const { return kLocationNotDetermined; }

std::shared_ptr<LocationManager> LinuxLocationServices::CreateManager() {
  return std::make_shared<UnstartedGeoClueManager>();
}

}  // namespace rqb
