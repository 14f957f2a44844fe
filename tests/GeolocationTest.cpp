// The geolocation service: authorization codes, and the location manager that
// only exists once the main queue has been served.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

#include "FakeLocationPlatform.h"
#include "RQBehavior/RQBehavior.h"
#include "Utils/Geolocation/RQBGeolocation.h"

namespace rqb {
namespace {

using test::FakeLocationPlatform;
using test::FakeLocationServices;

struct StatusAndCode {
  std::int32_t status;
  std::int32_t code;
};

// Every status the platform knows, and values it never uses.
const std::vector<StatusAndCode> kCodeTable = {
    {0, -3}, {1, -1}, {2, -2}, {3, 1}, {4, 0}, {5, -3}, {-1, -3}, {INT32_MAX, -3}, {INT32_MIN, -3},
};

class Geolocation : public ::testing::Test {
 protected:
  Geolocation() {
    Location location;
    location.latitude = -23.5505;
    fakes_.location.SetCachedLocation(location);
  }

  // Creates the manager the way a host's main thread would.
  void CreateManager() {
    RQBGeolocation geolocation;
    RQBehavior::drainMainQueue();
  }

  FakeLocationPlatform fakes_;
};

TEST_F(Geolocation, MapsEveryAuthorizationStatusToItsCodeAndDisabledServicesToMinusFour) {
  CreateManager();
  for (const auto& [status, code] : kCodeTable) {
    SCOPED_TRACE(status);
    fakes_.location.SetStatus(status);
    fakes_.location.SetEnabled(true);
    EXPECT_EQ(RQBGeolocation().getAuthorizationStatusCode(), code);
    fakes_.location.SetEnabled(false);
    EXPECT_EQ(RQBGeolocation().getAuthorizationStatusCode(), -4);
    EXPECT_FALSE(RQBGeolocation().getLastLocation());
  }
  EXPECT_EQ(fakes_.location.CachedLocationReads(), 0u) << "disabled services hide the manager";
}

TEST_F(Geolocation, OnlyAuthorizedApplicationsReachTheManager) {
  CreateManager();
  for (const auto& [status, code] : kCodeTable) {
    SCOPED_TRACE(status);
    fakes_.location.SetStatus(status);
    const std::size_t reads_before = fakes_.location.CachedLocationReads();
    const std::optional<Location> location = RQBGeolocation().getLastLocation();
    const bool authorized = code == 0 || code == 1;
    EXPECT_EQ(location.has_value(), authorized);
    EXPECT_EQ(fakes_.location.CachedLocationReads() - reads_before, authorized ? 1u : 0u)
        << "the manager is read only when authorized";
  }
}

TEST_F(Geolocation, TheFirstReadFindsNoManagerUntilTheMainThreadServesTheQueue) {
  fakes_.location.SetStatus(kLocationAuthorizedAlways);
  // A collection run constructs and reads on its own thread.
  std::optional<Location> first_read;
  std::thread run([&] { first_read = RQBGeolocation().getLastLocation(); });
  run.join();
  EXPECT_FALSE(first_read);
  EXPECT_EQ(fakes_.location.ManagersCreated(), 0u);

  EXPECT_EQ(RQBehavior::drainMainQueue(), 1u);
  EXPECT_EQ(fakes_.location.ManagersCreated(), 1u);
  EXPECT_EQ(fakes_.location.LastCreatingThread(), std::this_thread::get_id());
  ASSERT_TRUE(geoLocationManager().Load());
  EXPECT_EQ(RQBGeolocation().getLastLocation()->latitude, -23.5505);
}

TEST_F(Geolocation, EveryConstructionEndsInANewManagerAndTheLastOneStays) {
  CreateManager();
  const std::weak_ptr<LocationManager> earlier = geoLocationManager().Load();
  RQBGeolocation first;
  const std::shared_ptr<DateFormatter> first_formatter = dateFormatter().Load();
  RQBGeolocation second;
  EXPECT_NE(dateFormatter().Load(), first_formatter) << "the formatter is replaced at once";

  EXPECT_EQ(RQBehavior::drainMainQueue(), 2u);
  EXPECT_EQ(fakes_.location.ManagersCreated(), 3u);
  const std::shared_ptr<LocationManager> manager = geoLocationManager().Load();
  ASSERT_TRUE(manager);
  EXPECT_EQ(FakeLocationServices::SerialOf(*manager), 3);
  EXPECT_TRUE(earlier.expired()) << "a replaced manager is released";
}

}  // namespace
}  // namespace rqb
