// The jailbreak collector's probes against a fake file system.
#include <gtest/gtest.h>

#include "DataHelpers/RQBDataHelperRegistry.h"
#include "DataHelpers/RQBJailBreakDataHelper.h"
#include "FakeDevicePlatform.h"

namespace rqb {
namespace {

using JailBreakDataHelper = test::DevicePlatformTest;

const std::vector<std::string> kProbedInOrder = {"/Applications/Cydia.app",
                                                 "/Library/MobileSubstrate/MobileSubstrate.dylib",
                                                 "/bin/bash",
                                                 "/usr/sbin/sshd",
                                                 "/etc/apt",
                                                 "/usr/bin/ssh"};

TEST_F(JailBreakDataHelper, ProbesEveryPathInOrderThenAsksForTheCydiaScheme) {
  EXPECT_EQ(RQBJailBreakingDataHelper().getValue(), "false");
  EXPECT_EQ(fakes_.file_system.probed_paths, kProbedInOrder);
  EXPECT_EQ(fakes_.application.asked_urls,
            std::vector<std::string>{"cydia://package/com.example.package"});

  fakes_.application.handled_schemes = {"cydia"};
  EXPECT_EQ(RQBJailBreakingDataHelper().getValue(), "true");
}

TEST_F(JailBreakDataHelper, StopsAtTheFirstPathThatExists) {
  fakes_.file_system.existing_paths = {"/Applications/Cydia.app", "/usr/bin/ssh"};
  EXPECT_EQ(RQBJailBreakingDataHelper().getValue(), "true");
  EXPECT_EQ(fakes_.file_system.probed_paths, std::vector<std::string>{"/Applications/Cydia.app"});

  fakes_.file_system.probed_paths.clear();
  fakes_.file_system.existing_paths = {"/usr/bin/ssh"};
  EXPECT_EQ(RQBJailBreakingDataHelper().getValue(), "true");
  EXPECT_EQ(fakes_.file_system.probed_paths, kProbedInOrder);
  EXPECT_TRUE(fakes_.application.asked_urls.empty());
}

TEST_F(JailBreakDataHelper, ExistsUnderItsClassNameOnlySoRunsNeverAskIt) {
  const RegistryClassLookup table;
  EXPECT_EQ(table.CreateDataHelper("RQBJailBreakingDataHelper")->getKey(), "JailBroken");
  EXPECT_EQ(table.CreateDataHelper("RQBJailBreakDataHelper"), nullptr);
}

}  // namespace
}  // namespace rqb
