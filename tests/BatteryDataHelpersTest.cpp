// The two battery collectors against a fake device.
#include <gtest/gtest.h>

#include <climits>

#include "DataHelpers/RQBBatteryDataHelper.h"
#include "DataHelpers/RQBBatteryInfoDataHelper.h"
#include "FakeDevicePlatform.h"

namespace rqb {
namespace {

class BatteryDataHelpers : public test::DevicePlatformTest {
 protected:
  // The value of both collectors, which must agree.
  std::string BothValues() {
    const std::optional<std::string> info = RQBBatteryInfoDataHelper().getValue();
    EXPECT_EQ(info, RQBBatteryDataHelper().getValue());
    return info.value_or("(absent)");
  }
};

TEST_F(BatteryDataHelpers, WritesTheStateCodeAndTheLevelTimesAHundredInSinglePrecision) {
  struct Case {
    long state;
    float level;
    const char* expected;
  };
  const Case cases[] = {
      {kBatteryStateCharging, 0.85f, "{ \"s\": \"c\", \"l\": 85.000000 }"},
      {kBatteryStateUnplugged, 0.37f, "{ \"s\": \"u\", \"l\": 37.000000 }"},
      {kBatteryStateFull, 1.0f, "{ \"s\": \"f\", \"l\": 100.000000 }"},
      {kBatteryStateUnknown, -1.0f, "{ \"s\": \"unknown\", \"l\": -100.000000 }"},
      // What the float product is, not what the percentage was.
      {kBatteryStateUnplugged, 0.15f, "{ \"s\": \"u\", \"l\": 15.000001 }"},
      {kBatteryStateCharging, 1e-9f, "{ \"s\": \"c\", \"l\": 0.000000 }"},
      {4, 0.5f, "{ \"s\": \"unknown\", \"l\": 50.000000 }"},
      {-1, 0.5f, "{ \"s\": \"unknown\", \"l\": 50.000000 }"},
      {LONG_MIN, 0.5f, "{ \"s\": \"unknown\", \"l\": 50.000000 }"},
  };
  for (const Case& c : cases) {
    fakes_.device.battery_state = c.state;
    fakes_.device.battery_level = c.level;
    EXPECT_EQ(BothValues(), c.expected) << "state " << c.state << ", level " << c.level;
  }
}

TEST_F(BatteryDataHelpers, ReadsWithMonitoringOnAndLeavesMonitoringAsItWas) {
  fakes_.device.battery_monitoring = false;
  EXPECT_EQ(BothValues(), "{ \"s\": \"c\", \"l\": 50.000000 }");
  EXPECT_FALSE(fakes_.device.battery_monitoring);
  EXPECT_EQ(fakes_.device.monitoring_switches, (std::vector<bool>{true, false, true, false}));

  fakes_.device.monitoring_switches.clear();
  fakes_.device.battery_monitoring = true;
  EXPECT_EQ(BothValues(), "{ \"s\": \"c\", \"l\": 50.000000 }");
  EXPECT_TRUE(fakes_.device.battery_monitoring);
  EXPECT_TRUE(fakes_.device.monitoring_switches.empty());
}

}  // namespace
}  // namespace rqb
