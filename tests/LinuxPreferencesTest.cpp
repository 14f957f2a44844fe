// The Linux preferences store on real files.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "FakeDevicePlatform.h"
#include "Platform/linux/LinuxPreferences.h"

namespace rqb {
namespace {

using test::TemporaryDirectory;

class LinuxPreferencesStore : public ::testing::Test {
 protected:
  void WriteStore(std::string_view text) { std::ofstream(path_) << text; }
  std::string StoreText() const {
    std::ifstream file(path_);
    return std::string(std::istreambuf_iterator<char>(file), {});
  }

  TemporaryDirectory folder_;
  const std::filesystem::path path_ = folder_.path() / "app" / "host.json";
  const std::filesystem::path keyboard_ = folder_.path() / "keyboard";
  LinuxPreferences store_{path_, {keyboard_}};
};

TEST_F(LinuxPreferencesStore, WritesAPrivateFileAndKeepsEveryOtherEntry) {
  std::filesystem::create_directories(path_.parent_path());
  WriteStore(R"({"Name": "ann", "Count": 3, "Tags": ["a"], "Nested": {"x": [1, {"y": null}]}})");
  EXPECT_EQ(store_.ObjectForKey("Name"), PreferenceObject("ann"));
  EXPECT_EQ(store_.ObjectForKey("Count"), PreferenceObject(NonTextPreference{}));
  EXPECT_EQ(store_.ObjectForKey("Missing"), std::nullopt);

  store_.SetString("Name", "bob \"b\" / \xc3\xa9");
  EXPECT_EQ(store_.ObjectForKey("Name"), PreferenceObject("bob \"b\" / \xc3\xa9"));
  ASSERT_TRUE(store_.Synchronize());
  EXPECT_EQ(nlohmann::json::parse(StoreText()),
            nlohmann::json::parse(R"({"Name": "bob \"b\" / é", "Count": 3, "Tags": ["a"],
                                      "Nested": {"x": [1, {"y": null}]}})"));
  struct stat info {};
  ASSERT_EQ(stat(path_.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u);
  for (const auto& entry : std::filesystem::directory_iterator(path_.parent_path())) {
    EXPECT_TRUE(entry.path() == path_ || entry.path().extension() == ".lock") << entry.path();
  }
  EXPECT_EQ(LinuxPreferences(path_).ObjectForKey("Name"), PreferenceObject("bob \"b\" / \xc3\xa9"));
}

TEST_F(LinuxPreferencesStore, FilesThatAreNotAJsonObjectReadAsEmptyAndAreSetAside) {
  std::filesystem::create_directories(path_.parent_path());
  for (const std::string& damaged :
       {std::string(""), std::string("[\"DeviceGeneratedId\"]"), std::string("{\"a\": 1,}"),
        std::string("{\"a\": \"\xff\"}"), std::string(100000, '[')}) {
    WriteStore(damaged);
    EXPECT_EQ(store_.ObjectForKey("a"), std::nullopt);
    store_.SetString("a", "fresh");
    ASSERT_TRUE(store_.Synchronize());
    EXPECT_EQ(nlohmann::json::parse(StoreText()), nlohmann::json({{"a", "fresh"}}));
    std::ifstream aside(path_.string() + ".corrupt");
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(aside), {}), damaged);
  }
}

TEST_F(LinuxPreferencesStore, AStoreThatCannotBeReadIsNeverReplaced) {
  // A folder where the file should be: it exists but cannot be read as one.
  std::filesystem::create_directories(path_ / "kept");
  store_.SetString("DeviceGeneratedId", "made");
  EXPECT_FALSE(store_.Synchronize());
  EXPECT_TRUE(std::filesystem::exists(path_ / "kept"));
  // The change stays in force for this process and is written once it can be.
  EXPECT_EQ(store_.ObjectForKey("DeviceGeneratedId"), PreferenceObject("made"));
  std::filesystem::remove_all(path_);
  ASSERT_TRUE(store_.Synchronize());
  EXPECT_EQ(nlohmann::json::parse(StoreText()), nlohmann::json({{"DeviceGeneratedId", "made"}}));
}

TEST_F(LinuxPreferencesStore, KeyboardsComeFromTheApplicationElseTheMachinesLayouts) {
  EXPECT_EQ(store_.MergedListForKey("AppleKeyboards"), std::nullopt);
  // As Debian's keyboard-configuration writes the file.
  std::ofstream(keyboard_) << "# KEYBOARD CONFIGURATION FILE\n\nXKBMODEL=\"pc105\"\n"
                              "XKBLAYOUT=\"us,de,,fr\"\nXKBVARIANT=\",nodeadkeys\"\n"
                              "XKBOPTIONS=\"grp:alt_shift_toggle\"\n";
  EXPECT_EQ(store_.MergedListForKey("AppleKeyboards"),
            (std::vector<std::string>{"us", "de(nodeadkeys)", "fr"}));
  EXPECT_EQ(store_.MergedListForKey("OtherList"), std::nullopt);

  std::filesystem::create_directories(path_.parent_path());
  WriteStore(R"({"AppleKeyboards": ["emoji@sw=Emoji"], "OtherList": ["a", 1]})");
  EXPECT_EQ(store_.MergedListForKey("AppleKeyboards"), std::vector<std::string>{"emoji@sw=Emoji"});
  EXPECT_EQ(store_.MergedListForKey("OtherList"), std::nullopt);
}

}  // namespace
}  // namespace rqb
