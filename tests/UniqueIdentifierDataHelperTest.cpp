// The device-generated identifier: against a fake store, and against the
// Linux store shared by real processes.
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>

#include "DataHelpers/RQBUniqueIdentifierDataHelper.h"
#include "FakeDevicePlatform.h"
#include "Platform/linux/LinuxPreferences.h"

extern char** environ;

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
  EXPECT_EQ(store_.written.at("DeviceGeneratedId"), PreferenceObject(made));

  EXPECT_EQ(Value(), made);
  EXPECT_EQ(store_.strings_set, 1);
  EXPECT_EQ(store_.synchronizations, 1);
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

// Runs the probe program on the store at `path`; Output() waits for it.
class Probe {
 public:
  explicit Probe(const std::filesystem::path& path) {
    int pipe_fds[2];
    EXPECT_EQ(pipe(pipe_fds), 0);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipe_fds[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, pipe_fds[0]);
    const std::string program = RQB_IDENTIFIER_PROBE;
    const std::string store = path.string();
    char* argv[] = {const_cast<char*>(program.c_str()), const_cast<char*>(store.c_str()), nullptr};
    EXPECT_EQ(posix_spawn(&pid_, program.c_str(), &actions, nullptr, argv, environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    close(pipe_fds[1]);
    output_fd_ = pipe_fds[0];
  }

  std::string Output() {
    std::string output;
    char buffer[256];
    for (ssize_t n; (n = read(output_fd_, buffer, sizeof buffer)) > 0;) output.append(buffer, n);
    close(output_fd_);
    int status = 0;
    EXPECT_EQ(waitpid(pid_, &status, 0), pid_);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    if (!output.empty() && output.back() == '\n') output.pop_back();
    return output;
  }

 private:
  pid_t pid_ = -1;
  int output_fd_ = -1;
};

nlohmann::json ReadStoreFile(const std::filesystem::path& path) {
  std::ifstream file(path);
  return nlohmann::json::parse(file);
}

TEST(UniqueIdentifierAcrossProcesses, ASecondProcessFindsTheIdentifierTheFirstMade) {
  const TemporaryDirectory folder;
  const auto store = folder.path() / "host.json";
  const std::string first = Probe(store).Output();
  EXPECT_TRUE(IsUuidText(first)) << first;
  EXPECT_EQ(Probe(store).Output(), first);
  EXPECT_EQ(ReadStoreFile(store)["DeviceGeneratedId"], first);
}

TEST(UniqueIdentifierAcrossProcesses, ProcessesRacingOnAFreshStoreKeepItWholeAndOneIdentifier) {
  const TemporaryDirectory folder;
  const auto store = folder.path() / "host.json";
  std::ofstream(store) << R"({"HostSetting": "keep", "LaunchCount": 3})";
  std::vector<Probe> probes;
  for (int i = 0; i < 6; ++i) probes.emplace_back(store);
  std::set<std::string> reported;
  for (Probe& probe : probes) reported.insert(probe.Output());

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

  const std::string made = Probe(store).Output();
  EXPECT_TRUE(IsUuidText(made)) << made;
  EXPECT_EQ(ReadStoreFile(store)["DeviceGeneratedId"], made);
  std::ifstream aside(folder.path() / "host.json.corrupt");
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(aside), {}), damaged);
}

}  // namespace
}  // namespace rqb
