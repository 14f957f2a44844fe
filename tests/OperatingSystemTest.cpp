#include <gtest/gtest.h>

#include "FakePlatform.h"
#include "Platform/OperatingSystem.h"
#include "Platform/linux/OsRelease.h"

namespace rqb {
namespace {

TEST(OperatingSystemVersion, ComparesMajorThenMinorThenPatchOfTheLeadingNumbers) {
  const struct {
    const char* running;
    OperatingSystemVersion required;
    bool at_least;
  } cases[] = {
      {"12.4", {13, 0, 0}, false},     {"13", {13, 0, 0}, true},
      {"12.9.9", {13, 0, 0}, false},   {"14.0.1", {13, 0, 0}, true},
      {"12.0.1", {12, 0, 2}, false},   {"6.1.0-18-amd64", {6, 1, 0}, true},
      {"rolling", {0, 0, 1}, false},
  };
  for (const auto& c : cases) {
    test::FixedOperatingSystem system(c.running);
    const ScopedPlatformOverride in_force(Platform{.operating_system = &system});
    EXPECT_EQ(IsOperatingSystemAtLeastVersion(c.required), c.at_least) << c.running;
  }
}

TEST(LinuxOperatingSystem, ReadsOsReleaseValuesQuotedOrNot) {
  const char* os_release = "NAME=\"Debian GNU/Linux\"\nVERSION_ID=\"12\"\nID=debian\nX='y'\n";
  EXPECT_EQ(OsReleaseValue(os_release, "VERSION_ID"), "12");
  EXPECT_EQ(OsReleaseValue(os_release, "ID"), "debian");
  EXPECT_EQ(OsReleaseValue(os_release, "X"), "y");
  EXPECT_EQ(OsReleaseValue(os_release, "VERSION"), "");
}

}  // namespace
}  // namespace rqb
