// The Linux device readings: sysfs batteries, the vendor identifier and the
// machine name.
#include <gtest/gtest.h>
#include <sys/utsname.h>

#include <cstring>

#include "Platform/linux/LinuxDevice.h"

namespace rqb {
namespace {

BatteryReading BatteryOf(const char* fixture) {
  return ReadBattery(std::string(RQB_TEST_FIXTURES) + "/power_supply/" + fixture);
}

TEST(LinuxBattery, ReadsTheFirstSystemBatteryOfRealSysfsTrees) {
  struct Case {
    const char* fixture;
    long state;
    float level;
  };
  const Case cases[] = {
      {"laptop_charging", kBatteryStateCharging, 0.85f},
      {"laptop_discharging", kBatteryStateUnplugged, 0.37f},
      {"charge_limit", kBatteryStateCharging, 0.75f},
      {"full_second_slot", kBatteryStateFull, 1.0f},
      {"desktop_with_mouse", kBatteryStateUnknown, -1.0f},
      {"unknown_status", kBatteryStateUnknown, -1.0f},
      {"no_such_folder", kBatteryStateUnknown, -1.0f},
  };
  for (const Case& c : cases) {
    const BatteryReading reading = BatteryOf(c.fixture);
    EXPECT_EQ(reading.state, c.state) << c.fixture;
    EXPECT_EQ(reading.level, c.level) << c.fixture;
  }
}

TEST(LinuxBattery, MonitoringOffReadsUnknownWhateverTheMachineHas) {
  LinuxDevice device;
  EXPECT_FALSE(device.IsBatteryMonitoringEnabled());
  EXPECT_EQ(device.BatteryState(), kBatteryStateUnknown);
  EXPECT_EQ(device.BatteryLevel(), -1.0f);
}

TEST(LinuxVendorIdentifier, IsAKeyedHashOfTheMachineIdShapedAsAUuid) {
  const char* machine_id = "5f0e7c1d2a3b4c5d6e7f8091a2b3c4d5\n";
  // HMAC-SHA256, as `openssl dgst -sha256 -mac HMAC` computes it, with the
  // version and variant bits of a version-4 UUID.
  EXPECT_EQ(VendorIdentifier(machine_id, "shop-app"), "50572DDE-1C92-47C0-974C-BDFEF3C3AD57");
  EXPECT_NE(VendorIdentifier(machine_id, "other-app"), VendorIdentifier(machine_id, "shop-app"));
  for (const char* unusable :
       {"", "uninitialized\n", "5f0e7c1d2a3b4c5d6e7f8091a2b3c4d",
        "5f0e7c1d2a3b4c5d6e7f8091a2b3c4zz", "-f0e7c1d2a3b4c5d6e7f8091a2b3c4d5"}) {
    EXPECT_EQ(VendorIdentifier(unusable, "shop-app"), std::nullopt) << unusable;
  }
}

TEST(LinuxMachineName, AnswersLikeTheSystemCallWithUnamesMachine) {
  utsname names{};
  ASSERT_EQ(uname(&names), 0);
  const LinuxDevice device;
  char buffer[100];
  std::size_t length = sizeof buffer;
  EXPECT_EQ(device.QueryMachineName(buffer, &length), 0);
  EXPECT_STREQ(buffer, names.machine);
  EXPECT_EQ(length, std::strlen(names.machine) + 1);

  char small[4] = {'x', 'x', 'x', 'x'};
  length = 2;
  EXPECT_EQ(device.QueryMachineName(small, &length), -1);
  EXPECT_EQ(std::string(small, 4), std::string(names.machine, 2) + "xx");
}

}  // namespace
}  // namespace rqb
