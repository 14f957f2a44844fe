#include <gtest/gtest.h>

#include "FakePlatform.h"
#include "Platform/OperatingSystem.h"
#include "Platform/Platform.h"
#include "Platform/linux/OsRelease.h"

namespace rqb {
namespace {

using test::FixedOperatingSystem;

bool RunningAtLeast(const char* running, OperatingSystemVersion required) {
  FixedOperatingSystem system(running);
  Platform platform;
  platform.operating_system = &system;
  ScopedPlatformOverride in_force(platform);
  return IsOperatingSystemAtLeastVersion(required);
}

TEST(OperatingSystemVersion, ComparesMajorThenMinorThenPatch) {
  EXPECT_FALSE(RunningAtLeast("12.4", {13, 0, 0}));
  EXPECT_TRUE(RunningAtLeast("13.0", {13, 0, 0}));
  EXPECT_TRUE(RunningAtLeast("13", {13, 0, 0}));
  EXPECT_FALSE(RunningAtLeast("12.9.9", {13, 0, 0}));
  EXPECT_TRUE(RunningAtLeast("14.0.1", {13, 0, 0}));
  EXPECT_TRUE(RunningAtLeast("12.0.1", {12, 0, 0}));
  EXPECT_FALSE(RunningAtLeast("12.0.1", {12, 0, 2}));
  EXPECT_FALSE(RunningAtLeast("11.4", {12, 0, 0}));
}

TEST(OperatingSystemVersion, ReadsLeadingDottedNumbersOnly) {
  const OperatingSystemVersion kernel = ParseOperatingSystemVersion("6.1.0-18-amd64");
  EXPECT_EQ(kernel.major, 6);
  EXPECT_EQ(kernel.minor, 1);
  EXPECT_EQ(kernel.patch, 0);
  const OperatingSystemVersion rolling = ParseOperatingSystemVersion("rolling");
  EXPECT_EQ(rolling.major, 0);
}

TEST(LinuxOperatingSystem, ReadsOsReleaseValuesQuotedOrNot) {
  const char* os_release =
      "PRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\n"
      "VERSION_ID=\"12\"\n"
      "ID=debian\n"
      "VERSION_CODENAME='bookworm'\n";
  EXPECT_EQ(OsReleaseValue(os_release, "VERSION_ID"), "12");
  EXPECT_EQ(OsReleaseValue(os_release, "ID"), "debian");
  EXPECT_EQ(OsReleaseValue(os_release, "VERSION_CODENAME"), "bookworm");
  EXPECT_EQ(OsReleaseValue(os_release, "VERSION"), "");
}

}  // namespace
}  // namespace rqb
