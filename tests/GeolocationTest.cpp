// The geolocation service: authorization codes, and the location manager that
// only exists once the main queue has been served.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

#include "FakeLocationPlatform.h"
#include "RQBehavior/RQBehavior.h"
#include "Utils/Geolocation/RQBGeolocation.h"

namespace rqb {
namespace {

class Geolocation : public ::testing::Test {
 protected:
  test::FakeLocationPlatform fakes_;
};

TEST_F(Geolocation, MapsStatusesToCodesAndOnlyAuthorizedApplicationsReachTheManager) {
  RQBGeolocation geolocation;
  RQBehavior::drainMainQueue();
  // Every status the platform knows, and values it never uses.
  const std::pair<std::int32_t, std::int32_t> kStatusAndCode[] = {
      {0, -3}, {1, -1},  {2, -2},         {3, 1},         {4, 0},
      {5, -3}, {-1, -3}, {INT32_MAX, -3}, {INT32_MIN, -3}};
  for (const auto& [status, code] : kStatusAndCode) {
    SCOPED_TRACE(status);
    fakes_.location.SetStatus(status);
    fakes_.location.SetEnabled(true);
    const int reads_before = fakes_.location.cached_location_reads;
    EXPECT_EQ(geolocation.getAuthorizationStatusCode(), code);
    const bool authorized = code == 0 || code == 1;
    EXPECT_EQ(geolocation.getLastLocation().has_value(), authorized);
    fakes_.location.SetEnabled(false);
    EXPECT_EQ(geolocation.getAuthorizationStatusCode(), -4);
    EXPECT_FALSE(geolocation.getLastLocation());
    EXPECT_EQ(fakes_.location.cached_location_reads - reads_before, authorized ? 1 : 0)
        << "the manager is read only when authorized and services are on";
  }
}

TEST_F(Geolocation, EveryConstructionEndsInANewManagerAndTheLastOneStays) {
  RQBGeolocation first;
  RQBehavior::drainMainQueue();
  const std::weak_ptr<LocationManager> earlier = geoLocationManager().Load();
  const std::shared_ptr<DateFormatter> first_formatter = dateFormatter().Load();
  RQBGeolocation second;
  EXPECT_NE(dateFormatter().Load(), first_formatter) << "the formatter is replaced at once";

  EXPECT_EQ(RQBehavior::drainMainQueue(), 1u);
  EXPECT_EQ(fakes_.location.managers_created, 2);
  EXPECT_TRUE(geoLocationManager().Load());
  EXPECT_TRUE(earlier.expired()) << "the second manager replaced the first, which is released";
}

}  // namespace
}  // namespace rqb
