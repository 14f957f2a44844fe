// The Linux file-system readings and URL handlers.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <fstream>

#include "FakeDevicePlatform.h"
#include "Platform/linux/LinuxApplicationServices.h"
#include "Platform/linux/LinuxFileSystem.h"

namespace rqb {
namespace {

using test::TemporaryDirectory;

TEST(LinuxDocumentsDirectory, FollowsUserDirsElseTheHome) {
  const std::string home = "/home/ann";
  const auto documents = [&](const char* user_dirs) {
    return DocumentsDirectoryOf(user_dirs, home);
  };
  // As xdg-user-dirs-update writes the file.
  EXPECT_EQ(documents("# This file is written by xdg-user-dirs-update\n"
                      "XDG_DESKTOP_DIR=\"$HOME/Desktop\"\n"
                      "XDG_DOCUMENTS_DIR=\"$HOME/Dokumente\"\n"),
            "/home/ann/Dokumente");
  EXPECT_EQ(documents("XDG_DOCUMENTS_DIR=\"/srv/papers\"\n"), "/srv/papers");
  EXPECT_EQ(documents("XDG_DOCUMENTS_DIR=\"$HOME/\"\n"), "/home/ann");
  EXPECT_EQ(documents("XDG_DOCUMENTS_DIR=\"Documents\"\n"), "/home/ann");
  EXPECT_EQ(documents("XDG_DOCUMENTS_DIR=\"$HOMEWORK\"\n"), "/home/ann");
  EXPECT_EQ(documents(""), "/home/ann");
  EXPECT_EQ(DocumentsDirectoryOf("XDG_DOCUMENTS_DIR=\"/srv/papers\"\n", ""), std::nullopt);
}

TEST(LinuxFileSystem, ExistenceCountsFilesAndFoldersAndFreeBytesNeedAPath) {
  const TemporaryDirectory folder;
  std::ofstream(folder.path() / "file") << "x";
  std::filesystem::create_symlink(folder.path() / "gone", folder.path() / "dangling");
  const LinuxFileSystem file_system;
  EXPECT_TRUE(file_system.Exists(folder.path()));
  EXPECT_TRUE(file_system.Exists(folder.path() / "file"));
  EXPECT_FALSE(file_system.Exists(folder.path() / "dangling"));
  EXPECT_FALSE(file_system.Exists(folder.path() / "missing"));

  EXPECT_TRUE(file_system.FreeBytes(folder.path()).has_value());
  EXPECT_EQ(file_system.FreeBytes(folder.path() / "missing"), std::nullopt);
}

TEST(LinuxUrlHandlers, FindTheSchemeInTheHandlerGroupsOfAssociationFiles) {
  EXPECT_EQ(UrlScheme("cydia://package/com.example.package"), "cydia");
  EXPECT_EQ(UrlScheme("Web+Cal.v2:x"), "web+cal.v2");
  for (const char* no_scheme : {"", "://x", "no scheme", "1abc:x", "ab c:x", "caf\xc3\xa9:x"}) {
    EXPECT_EQ(UrlScheme(no_scheme), std::nullopt) << no_scheme;
  }

  const char* mimeapps =
      "[Added Associations]\n"
      "x-scheme-handler/irc=hexchat.desktop;\n"
      "\n"
      "[Removed Associations]\n"
      "x-scheme-handler/ftp=filezilla.desktop;\n"
      "\n"
      "[Default Applications]\n"
      "x-scheme-handler/https = firefox-esr.desktop\n"
      "x-scheme-handler/empty=;\n";
  EXPECT_TRUE(AssociationsNameHandler(mimeapps, "x-scheme-handler/irc"));
  EXPECT_TRUE(AssociationsNameHandler(mimeapps, "x-scheme-handler/https"));
  EXPECT_FALSE(AssociationsNameHandler(mimeapps, "x-scheme-handler/ftp"));
  EXPECT_FALSE(AssociationsNameHandler(mimeapps, "x-scheme-handler/empty"));
  EXPECT_FALSE(AssociationsNameHandler(mimeapps, "x-scheme-handler/ir"));
  EXPECT_TRUE(AssociationsNameHandler("[MIME Cache]\nx-scheme-handler/cydia=cydia.desktop;\n",
                                      "x-scheme-handler/cydia"));
}

TEST(LinuxUrlHandlers, AHandlerRegisteredForTheUserOpensTheUrl) {
  const TemporaryDirectory folder;
  const std::filesystem::path config = folder.path() / "config";
  std::filesystem::create_directories(config);
  // Only the folders of this test are searched.
  setenv("XDG_CONFIG_HOME", config.c_str(), 1);
  setenv("XDG_CONFIG_DIRS", (folder.path() / "etc").c_str(), 1);
  setenv("XDG_DATA_HOME", (folder.path() / "data").c_str(), 1);
  setenv("XDG_DATA_DIRS", (folder.path() / "share").c_str(), 1);
  const LinuxApplicationServices services;
  EXPECT_FALSE(services.CanOpenUrl("cydia://package/com.example.package"));
  std::ofstream(config / "mimeapps.list")
      << "[Default Applications]\nx-scheme-handler/cydia=cydia.desktop\n";
  EXPECT_TRUE(services.CanOpenUrl("CYDIA://package/com.example.package"));
  EXPECT_FALSE(services.CanOpenUrl("sileo://package/com.example.package"));
}

}  // namespace
}  // namespace rqb
