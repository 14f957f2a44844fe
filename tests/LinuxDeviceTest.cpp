// The Linux device readings: sysfs batteries, the vendor identifier and the
// machine name.
#include <gtest/gtest.h>
#include <sys/utsname.h>

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

TEST(LinuxMachineName, NeverWritesPastTheLengthItIsGiven) {
  utsname names{};
  ASSERT_EQ(uname(&names), 0);
  char buffer[4] = {'x', 'x', 'x', 'x'};
  std::size_t length = 2;
  EXPECT_EQ(LinuxDevice().QueryMachineName(buffer, &length), -1);
  EXPECT_EQ(std::string(buffer, 4), std::string(names.machine, 2) + "xx");
}

}  // namespace
}  // namespace rqb
