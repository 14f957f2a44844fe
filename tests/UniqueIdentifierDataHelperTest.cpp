// The device-generated identifier: against a fake store, and against the
// Linux store shared by real processes.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>

#include "DataHelpers/RQBUniqueIdentifierDataHelper.h"
#include "FakeDevicePlatform.h"

namespace rqb {
namespace {

using test::TemporaryDirectory;

bool IsUuidText(const std::string& text) {
  static const std::regex uuid(
      "[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
  return std::regex_match(text, uuid);
}

class UniqueIdentifierDataHelper : public test::DevicePlatformTest {
 protected:
  std::string Value() { return RQBUniqueIdentifierDataHelper().getValue().value_or("(absent)"); }
  test::FakePreferences& store_ = fakes_.preferences;
};

TEST_F(UniqueIdentifierDataHelper, MakesAndWritesOutAnIdentifierOnceThenReportsIt) {
  store_.entries.clear();
  const std::string made = Value();
  EXPECT_TRUE(IsUuidText(made)) << made;
  EXPECT_EQ(store_.written, decltype(store_.written)({{"DeviceGeneratedId", made}}));

  store_.written.clear();
  EXPECT_EQ(Value(), made);
  EXPECT_TRUE(store_.written.empty()) << "a found identifier must not be written again";
}

TEST_F(UniqueIdentifierDataHelper, ReportsStoredTextAsItStandsAndReplacesEmptyOrNonText) {
  store_.entries = {{"DeviceGeneratedId", "abc"}};
  EXPECT_EQ(Value(), "abc");
  for (const PreferenceObject& unusable :
       {PreferenceObject(""), PreferenceObject(NonTextPreference{})}) {
    store_.entries = {{"DeviceGeneratedId", unusable}};
    const std::string made = Value();
    EXPECT_TRUE(IsUuidText(made)) << made;
    EXPECT_EQ(store_.written.at("DeviceGeneratedId"), PreferenceObject(made));
  }
}

// Starts the probe program, another process, on the store at `path`.
FILE* StartProbe(const std::filesystem::path& path) {
  return popen((std::string(RQB_IDENTIFIER_PROBE) + " '" + path.string() + "'").c_str(), "r");
}

// What the probe reported, once it has ended well.
std::string ProbeOutput(FILE* probe) {
  char line[128] = {};
  const bool read = std::fgets(line, sizeof line, probe) != nullptr;
  EXPECT_EQ(pclose(probe), 0);
  return read ? std::string(line, std::strcspn(line, "\n")) : "";
}

nlohmann::json ReadStoreFile(const std::filesystem::path& path) {
  std::ifstream file(path);
  return nlohmann::json::parse(file);
}

TEST(UniqueIdentifierAcrossProcesses, ASecondProcessFindsTheIdentifierTheFirstMade) {
  const TemporaryDirectory folder;
  const auto store = folder.path() / "host.json";
  const std::string first = ProbeOutput(StartProbe(store));
  EXPECT_TRUE(IsUuidText(first)) << first;
  EXPECT_EQ(ProbeOutput(StartProbe(store)), first);
  EXPECT_EQ(ReadStoreFile(store)["DeviceGeneratedId"], first);
}

TEST(UniqueIdentifierAcrossProcesses, ProcessesRacingOnAFreshStoreKeepItWholeAndOneIdentifier) {
  const TemporaryDirectory folder;
  const auto store = folder.path() / "host.json";
  std::ofstream(store) << R"({"HostSetting": "keep", "LaunchCount": 3})";
  std::vector<FILE*> probes;
  for (int i = 0; i < 6; ++i) probes.push_back(StartProbe(store));
  std::set<std::string> reported;
  for (FILE* probe : probes) reported.insert(ProbeOutput(probe));

  const nlohmann::json kept = ReadStoreFile(store);
  EXPECT_EQ(kept["HostSetting"], "keep");
  EXPECT_EQ(kept["LaunchCount"], 3);
  EXPECT_TRUE(reported.contains(kept["DeviceGeneratedId"].get<std::string>()));
  for (const std::string& identifier : reported) EXPECT_TRUE(IsUuidText(identifier)) << identifier;
}

TEST(UniqueIdentifierAcrossProcesses, ACorruptStoreIsSetAsideAndTheIdentifierStillMade) {
  const TemporaryDirectory folder;
  const auto store = folder.path() / "host.json";
  const std::string damaged = R"({"HostSetting": "keep", "DeviceGeneratedId": "3F25)";
  std::ofstream(store) << damaged;

  const std::string made = ProbeOutput(StartProbe(store));
  EXPECT_TRUE(IsUuidText(made)) << made;
  EXPECT_EQ(ReadStoreFile(store)["DeviceGeneratedId"], made);
  std::ifstream aside(folder.path() / "host.json.corrupt");
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(aside), {}), damaged);
}

}  // namespace
}  // namespace rqb
