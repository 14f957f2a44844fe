// The Linux preferences store on real files, and the device-generated
// identifier that real processes keep in it.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>

#include "FakeDevicePlatform.h"
#include "Platform/RunReadings.h"
#include "Platform/linux/LinuxPreferences.h"

namespace rqb {
namespace {

namespace fs = std::filesystem;

// The text of a version-4 UUID, as the identifier is made.
const std::regex kUuid(test::kUuidPattern);

class LinuxPreferencesStore : public ::testing::Test {
 protected:
  void WriteStore(std::string_view text) {
    fs::create_directories(path_.parent_path());
    std::ofstream(path_) << text;
  }
  nlohmann::json Stored() const { return nlohmann::json::parse(std::ifstream(path_)); }
  // The names in the store's folder other than the store and its lock.
  std::set<std::string> Leftovers() const {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(path_.parent_path())) {
      if (entry.path() != path_ && entry.path().extension() != ".lock") {
        names.insert(entry.path().filename());
      }
    }
    return names;
  }
  // Starts the probe program: another process, which reports the identifier
  // that the collector finds in the store or makes for it; `shell` goes first.
  FILE* StartProbe(const std::string& shell = "") const {
    return popen((shell + RQB_IDENTIFIER_PROBE + " '" + path_.string() + "'").c_str(), "r");
  }
  static std::string Reported(FILE* probe) {
    char line[64] = {};
    const bool read = std::fgets(line, sizeof line, probe) != nullptr;
    EXPECT_EQ(pclose(probe), 0);
    return read ? std::string(line, std::strcspn(line, "\n")) : "";
  }

  const test::TemporaryDirectory folder_;
  const fs::path path_ = folder_.path() / "app" / "host.json";
  const fs::path keyboard_ = folder_.path() / "keyboard";
  LinuxPreferences store_{path_, {keyboard_}};
};

// Several processes race on a store without an identifier: one identifier is
// written, privately, the host's own entries survive, no temporary file is
// left behind, and a later process reports the identifier that was written.
TEST_F(LinuxPreferencesStore, ProcessesMakeTheIdentifierOnceAndKeepEveryOtherEntry) {
  const auto host =
      nlohmann::json::parse(R"({"Setting": "keep", "Nested": {"x": [1, {"y": null}]}})");
  WriteStore(host.dump());
  std::vector<FILE*> probes;
  for (int i = 0; i < 4; ++i) probes.push_back(StartProbe());
  std::set<std::string> reported;
  for (FILE* probe : probes) reported.insert(Reported(probe));

  nlohmann::json kept = Stored();
  const std::string stored = kept.value("DeviceGeneratedId", "");
  EXPECT_TRUE(std::regex_match(stored, kUuid)) << stored;
  EXPECT_TRUE(reported.contains(stored));
  EXPECT_EQ(Reported(StartProbe()), stored);
  kept.erase("DeviceGeneratedId");
  EXPECT_EQ(kept, host);
  EXPECT_EQ(fs::status(path_).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  EXPECT_EQ(Leftovers(), std::set<std::string>{});
}

// Numbers the host wrote keep their digits and form, escapes stay as written,
// duplicate names survive, and JSON that holds no valid double or text (1e400,
// a lone surrogate) is still JSON: nothing is set aside as corrupt.
TEST_F(LinuxPreferencesStore, AWriteChangesOnlyItsOwnMembersAndKeepsEveryOtherByte) {
  const std::string host = R"({
  "Count": 12345678901234567890123,
  "Hundred": 1E2, "Zero": -0,
  "Huge": 1e400,
  "Lone": "\ud800",
  "DeviceGeneratedId": "first",
  "Escaped": "caf\u00e9 \/ \"q\"",
  "Nested": {"x": [1, 2.50, {"y": null}]},
  "DeviceGeneratedId": "\ud800"
}
)";
  WriteStore(host);
  // The last of duplicates counts, and a lone surrogate is no text.
  EXPECT_EQ(store_.ObjectForKey("DeviceGeneratedId"), PreferenceObject(NonTextPreference{}));
  EXPECT_EQ(store_.ObjectForKey("Lone"), PreferenceObject(NonTextPreference{}));
  EXPECT_EQ(store_.ObjectForKey("Escaped"), PreferenceObject("caf\xC3\xA9 / \"q\""));

  store_.SetString("DeviceGeneratedId", "made");
  store_.SetString("Added", "new");
  ASSERT_TRUE(store_.Synchronize());
  std::string expected = host;
  expected.replace(expected.rfind(R"("\ud800")"), 8, "\"made\",\n  \"Added\": \"new\"");
  EXPECT_EQ(test::FileText(path_), expected);
  EXPECT_EQ(Leftovers(), std::set<std::string>{});
}

// A write killed part way (here by its file size limit, SIGXFSZ) leaves the
// store as it was and no partial file; a temporary file that a process left
// between naming and renaming it is taken over by the next write.
TEST_F(LinuxPreferencesStore, AWriterThatDiesMidWriteLeavesNothingBehind) {
  const std::string host = R"({"Setting": ")" + std::string(16384, 'x') + "\"}";
  WriteStore(host);
  FILE* limited = StartProbe("ulimit -f 8; exec ");
  ASSERT_NE(limited, nullptr);
  const int status = pclose(limited);
  ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGXFSZ) << status;
  EXPECT_EQ(test::FileText(path_), host);
  EXPECT_EQ(Leftovers(), std::set<std::string>{});

  std::ofstream(path_.string() + ".tmp") << "left by a process that died";
  EXPECT_TRUE(std::regex_match(Reported(StartProbe()), kUuid));
  EXPECT_EQ(Leftovers(), std::set<std::string>{});
  EXPECT_EQ(Stored()["Setting"], std::string(16384, 'x'));
}

TEST_F(LinuxPreferencesStore, StoredIdentifierTextIsReportedAsItStandsAndEmptyOrNonTextReplaced) {
  WriteStore(R"({"DeviceGeneratedId": "abc"})");
  EXPECT_EQ(Reported(StartProbe()), "abc");
  for (const char* unusable : {R"("")", "7", "null"}) {
    WriteStore(std::string(R"({"DeviceGeneratedId": )") + unusable + "}");
    const std::string made = Reported(StartProbe());
    EXPECT_TRUE(std::regex_match(made, kUuid)) << unusable << " gave " << made;
    EXPECT_EQ(Stored()["DeviceGeneratedId"], made);
  }
}

TEST_F(LinuxPreferencesStore, FilesThatAreNotAJsonObjectReadAsEmptyAndAreSetAside) {
  for (const std::string& damaged :
       {std::string(""), std::string("[\"DeviceGeneratedId\"]"), std::string("{\"a\": 1,}"),
        std::string("{\"a\": \"\xff\"}"), std::string(100000, '[')}) {
    WriteStore(damaged);
    EXPECT_EQ(store_.ObjectForKey("a"), std::nullopt);
    store_.SetString("a", "fresh");
    ASSERT_TRUE(store_.Synchronize());
    EXPECT_EQ(Stored(), nlohmann::json({{"a", "fresh"}}));
    EXPECT_EQ(test::FileText(path_.string() + ".corrupt"), damaged);
  }
}

TEST_F(LinuxPreferencesStore, AStoreThatCannotBeReadIsNeverReplaced) {
  // A folder where the file should be: it exists but cannot be read as one.
  fs::create_directories(path_ / "kept");
  store_.SetString("DeviceGeneratedId", "made");
  EXPECT_FALSE(store_.Synchronize());
  EXPECT_TRUE(fs::exists(path_ / "kept"));
  // The change stays in force for this process and is written once it can be.
  EXPECT_EQ(store_.ObjectForKey("DeviceGeneratedId"), PreferenceObject("made"));
  fs::remove_all(path_);
  ASSERT_TRUE(store_.Synchronize());
  EXPECT_EQ(Stored(), nlohmann::json({{"DeviceGeneratedId", "made"}}));
}

TEST_F(LinuxPreferencesStore, KeyboardsComeFromTheApplicationElseTheMachinesLayouts) {
  // As Debian's keyboard-configuration writes the file.
  std::ofstream(keyboard_) << "# KEYBOARD CONFIGURATION FILE\n\nXKBMODEL=\"pc105\"\n"
                              "XKBLAYOUT=\"us,de,,fr\"\nXKBVARIANT=\",nodeadkeys\"\n";
  EXPECT_EQ(store_.MergedListForKey("AppleKeyboards"),
            (std::vector<std::string>{"us", "de(nodeadkeys)", "fr"}));
  WriteStore(R"({"AppleKeyboards": ["emoji@sw=Emoji"], "OtherList": ["a", 1]})");
  EXPECT_EQ(store_.MergedListForKey("AppleKeyboards"), std::vector<std::string>{"emoji@sw=Emoji"});
  EXPECT_EQ(store_.MergedListForKey("OtherList"), std::nullopt);
}

// The collectors of one run share one reading of the file, which a write of
// theirs renews; the next run reads it afresh.
TEST_F(LinuxPreferencesStore, ARunReadsTheFileOnceUntilItWritesAndTheNextRunAfresh) {
  WriteStore(R"({"Note": "first"})");
  {
    const RunReadings run;
    EXPECT_EQ(store_.ObjectForKey("Note"), PreferenceObject("first"));
    WriteStore(R"({"Note": "second", "AppleKeyboards": ["xx"]})");  // another process
    EXPECT_EQ(store_.ObjectForKey("Note"), PreferenceObject("first"));
    EXPECT_EQ(store_.MergedListForKey("AppleKeyboards"), std::nullopt);
    store_.SetString("DeviceGeneratedId", "id-1");
    ASSERT_TRUE(store_.Synchronize());
    EXPECT_EQ(store_.ObjectForKey("DeviceGeneratedId"), PreferenceObject("id-1"));
    EXPECT_EQ(store_.ObjectForKey("Note"), PreferenceObject("second"));
  }
  WriteStore(R"({"Note": "third"})");
  const RunReadings next_run;
  EXPECT_EQ(store_.ObjectForKey("Note"), PreferenceObject("third"));
}

}  // namespace
}  // namespace rqb
