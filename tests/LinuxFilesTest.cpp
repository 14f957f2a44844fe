// The Linux readings of the machine's files: sysfs batteries, the vendor
// identifier made from machine-id, the user's folders and the desktop's URL
// handlers.
#include <gtest/gtest.h>
#include <sched.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "FakeDevicePlatform.h"
#include "Platform/linux/LinuxApplicationServices.h"
#include "Platform/linux/LinuxDevice.h"
#include "Platform/linux/LinuxEnvironment.h"
#include "Platform/linux/LinuxFileSystem.h"

namespace rqb {
namespace {

namespace fs = std::filesystem;

// Whole runs over files like these (and huge ones) are LinuxOutsideFiles' tests.
TEST(LinuxFiles, OnlyRegularFilesWithinTheirBoundAreReadAndNothingElseBlocks) {
  using Status = FileContents::Status;
  const test::TemporaryDirectory folder;
  const fs::path dir = folder.path();
  std::ofstream(dir / "four") << "1234";
  fs::create_symlink(dir / "four", dir / "link");
  ASSERT_EQ(mkfifo((dir / "fifo").c_str(), 0600), 0);

  const auto read = [&](const char* name, std::size_t bound) {
    const FileContents contents = ReadBoundedFile(dir / name, bound);
    return std::pair(contents.status, contents.bytes);
  };
  EXPECT_EQ(read("four", 4), std::pair(Status::kRead, std::string("1234")));
  EXPECT_EQ(read("link", 4), std::pair(Status::kRead, std::string("1234")));
  EXPECT_EQ(read("four", 3), std::pair(Status::kTooLarge, std::string()));
  EXPECT_EQ(read("fifo", 4), std::pair(Status::kUnreadable, std::string()));
  EXPECT_EQ(read(".", 4), std::pair(Status::kUnreadable, std::string()));
  EXPECT_EQ(read("missing", 4), std::pair(Status::kMissing, std::string()));
}

// The longest host name the kernel allows, set in a UTS namespace of a child
// process so that the machine's own name is left alone.
TEST(LinuxDevice, ReadsAHostNameOfTheLongestLength) {
  const std::string longest(64, 'h');
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    if (unshare(CLONE_NEWUSER | CLONE_NEWUTS) != 0) _exit(2);
    if (sethostname(longest.data(), longest.size()) != 0) _exit(2);
    _exit(LinuxDevice().Name() == longest ? 0 : 1);
  }
  const int code = test::ExitCodeOf(child);
  if (code == 2) GTEST_SKIP() << "no user namespaces here";
  EXPECT_EQ(code, 0);
}

TEST(LinuxBattery, ReadsTheFirstSystemBatteryOfRealSysfsTrees) {
  using Case = std::tuple<const char*, long, float>;
  for (const auto& [fixture, state, level] : std::vector<Case>{
           {"laptop_charging", kBatteryStateCharging, 0.85f},
           {"laptop_discharging", kBatteryStateUnplugged, 0.37f},
           {"charge_limit", kBatteryStateCharging, 0.75f},
           {"full_second_slot", kBatteryStateFull, 1.0f},
           {"desktop_with_mouse", kBatteryStateUnknown, -1.0f},
           {"unknown_status", kBatteryStateUnknown, -1.0f},
           {"no_such_folder", kBatteryStateUnknown, -1.0f},
       }) {
    const BatteryReading reading =
        ReadBattery(std::string(RQB_TEST_FIXTURES) + "/power_supply/" + fixture);
    EXPECT_EQ(reading.state, state) << fixture;
    EXPECT_EQ(reading.level, level) << fixture;
  }
}

TEST(LinuxVendorIdentifier, IsAKeyedHashOfTheMachineIdShapedAsAUuid) {
  const char* machine_id = "5f0e7c1d2a3b4c5d6e7f8091a2b3c4d5\n";
  // HMAC-SHA256, as `openssl dgst -sha256 -mac HMAC` computes it, with the
  // version and variant bits of a version-4 UUID.
  EXPECT_EQ(VendorIdentifier(machine_id, "shop-app"), "50572DDE-1C92-47C0-974C-BDFEF3C3AD57");
  EXPECT_NE(VendorIdentifier(machine_id, "other-app"), VendorIdentifier(machine_id, "shop-app"));
  EXPECT_EQ(VendorIdentifier("uninitialized\n", "shop-app"), std::nullopt);
}

TEST(LinuxDocumentsDirectory, FollowsUserDirsElseTheHome) {
  const auto documents = [](const char* user_dirs) {
    return DocumentsDirectoryOf(user_dirs, "/home/ann");
  };
  // As xdg-user-dirs-update writes the file.
  EXPECT_EQ(documents("# written by xdg-user-dirs-update\nXDG_DESKTOP_DIR=\"$HOME/Desktop\"\n"
                      "XDG_DOCUMENTS_DIR=\"$HOME/Dokumente\"\n"),
            "/home/ann/Dokumente");
  EXPECT_EQ(documents("XDG_DOCUMENTS_DIR=\"/srv/papers\"\n"), "/srv/papers");
  EXPECT_EQ(documents("XDG_DOCUMENTS_DIR=\"$HOMEWORK\"\n"), "/home/ann");
  EXPECT_EQ(documents("XDG_DOCUMENTS_DIR=\"Documents\"\n"), "/home/ann");
  EXPECT_EQ(DocumentsDirectoryOf("XDG_DOCUMENTS_DIR=\"/srv/papers\"\n", ""), std::nullopt);
}

// The jailbreak probe asks after folders too (/etc/apt).
TEST(LinuxFileSystem, ExistenceCountsFoldersAndFreeBytesNeedAPath) {
  const test::TemporaryDirectory folder;
  EXPECT_TRUE(LinuxFileSystem().Exists(folder.path()));
  EXPECT_FALSE(LinuxFileSystem().Exists(folder.path() / "missing"));
  EXPECT_TRUE(LinuxFileSystem().FreeBytes(folder.path()).has_value());
  EXPECT_EQ(LinuxFileSystem().FreeBytes(folder.path() / "missing"), std::nullopt);
}

TEST(LinuxUrlHandlers, AUrlOpensWhenAnAssociationFileNamesAHandlerForItsScheme) {
  const test::TemporaryDirectory folder;
  // Only the folder of this test is searched, as configuration and as data.
  for (const char* variable :
       {"XDG_CONFIG_HOME", "XDG_CONFIG_DIRS", "XDG_DATA_HOME", "XDG_DATA_DIRS"}) {
    setenv(variable, folder.path().c_str(), 1);
  }
  const LinuxApplicationServices services;
  EXPECT_FALSE(services.CanOpenUrl("cydia://package/com.example.package"));

  std::ofstream(folder.path() / "mimeapps.list")
      << "[Added Associations]\nx-scheme-handler/irc=hexchat.desktop;\n"
         "[Removed Associations]\nx-scheme-handler/ftp=filezilla.desktop;\n"
         "[Default Applications]\nx-scheme-handler/cydia = cydia.desktop\n"
         "x-scheme-handler/empty=;\n";
  std::filesystem::create_directory(folder.path() / "applications");
  std::ofstream(folder.path() / "applications" / "mimeinfo.cache")
      << "[MIME Cache]\nx-scheme-handler/sileo=sileo.desktop;\n";
  // A FIFO in place of one file is passed over; it never blocks the search.
  ASSERT_EQ(mkfifo((folder.path() / "applications" / "mimeapps.list").c_str(), 0600), 0);
  EXPECT_TRUE(services.CanOpenUrl("CYDIA://package/com.example.package"));
  EXPECT_TRUE(services.CanOpenUrl("irc://x"));
  EXPECT_TRUE(services.CanOpenUrl("sileo:x"));
  EXPECT_FALSE(services.CanOpenUrl("ftp://x"));
  EXPECT_FALSE(services.CanOpenUrl("empty:x"));
  EXPECT_FALSE(services.CanOpenUrl("ir:x"));
}

}  // namespace
}  // namespace rqb
