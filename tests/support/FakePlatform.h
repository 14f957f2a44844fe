// Fakes of the platform providers, and a fixture that puts them in force.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "DataHelpers/RQBDataHelper.h"
#include "Platform/ClassLookup.h"
#include "Platform/LogSink.h"
#include "Platform/MainQueue.h"
#include "Platform/OperatingSystem.h"
#include "Platform/Platform.h"
#include "Platform/TaskExecutor.h"
#include "Platform/UrlSession.h"

namespace rqb::test {

using namespace std::chrono_literals;

// Values added from any thread; a test reads them or waits for a count.
template <typename T>
class Recorded {
 public:
  void Add(T value) {
    // Notified under the lock: a waiter may destroy this object once it wakes.
    std::lock_guard lock(mutex_);
    values_.push_back(std::move(value));
    added_.notify_all();
  }
  std::vector<T> Get() const {
    std::lock_guard lock(mutex_);
    return values_;
  }
  bool WaitFor(std::size_t count, std::chrono::milliseconds timeout) const {
    std::unique_lock lock(mutex_);
    return added_.wait_for(lock, timeout, [&] { return values_.size() >= count; });
  }

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable added_;
  std::vector<T> values_;
};

// Keeps every message instead of writing it.
class RecordingLog final : public LogSink {
 public:
  void Write(std::string_view message) override { lines_.Add(std::string(message)); }
  LogLinePrefix LinePrefix() override { return prefix; }
  std::vector<std::string> Lines() const { return lines_.Get(); }

  // What a host's log handler receives with each message.
  const LogLinePrefix prefix{
      std::chrono::system_clock::time_point(std::chrono::seconds(1700000000)), "shop", 812, 815};

 private:
  Recorded<std::string> lines_;
};

// Holds submitted tasks until the test runs them on its own thread.
class ManualExecutor final : public TaskExecutor {
 public:
  void Submit(std::function<void()> task) override { queue_.Submit(std::move(task)); }
  // Runs the queued tasks, and those they queue, in order; returns how many.
  std::size_t RunAll() {
    std::size_t ran = 0;
    while (const std::size_t drained = queue_.Drain()) ran += drained;
    return ran;
  }

 private:
  DrainableMainQueue queue_;
};

// Records every data task instead of running it; a test completes them.
class RecordingUrlSessions final : public UrlSessionFactory {
 public:
  struct Task {
    UrlSessionConfiguration configuration;
    UrlRequest request;
    DataTaskCompletionHandler completion;
  };

  std::shared_ptr<UrlSession> CreateSession(const UrlSessionConfiguration& configuration) override;
  std::vector<Task> Tasks() const { return tasks_.Get(); }
  bool WaitForTasks(std::size_t count) const { return tasks_.WaitFor(count, 10s); }

 private:
  Recorded<Task> tasks_;
};

// Collector classes registered by the test, by name; other names have none.
class FakeClassLookup final : public ClassLookup {
 public:
  using Factory = std::function<std::unique_ptr<RQBDataHelper>()>;
  void Register(std::string name, Factory factory);
  std::unique_ptr<RQBDataHelper> CreateDataHelper(std::string_view class_name) const override;

 private:
  mutable std::mutex mutex_;
  std::map<std::string, Factory, std::less<>> factories_;
};

// A collector answering fixed texts; `on_value` runs when the value is asked.
class StubDataHelper final : public RQBDataHelper {
 public:
  StubDataHelper(std::optional<std::string> key, std::optional<std::string> value,
                 std::function<void()> on_value = nullptr)
      : key_(std::move(key)), value_(std::move(value)), on_value_(std::move(on_value)) {}
  std::optional<std::string> getKey() override { return key_; }
  std::optional<std::string> getValue() override {
    if (on_value_) on_value_();
    return value_;
  }

 private:
  std::optional<std::string> key_;
  std::optional<std::string> value_;
  std::function<void()> on_value_;
};

// A system that reports the version it was made with, e.g. "11.4", or the
// one a test sets.
class FixedOperatingSystem final : public OperatingSystem {
 public:
  explicit FixedOperatingSystem(const char* version)
      : version(ParseOperatingSystemVersion(version)) {}
  OperatingSystemVersion Version() const override { return version; }

  OperatingSystemVersion version;
};

// A new empty folder, removed with everything in it at the end of its life.
struct TemporaryDirectory {
  TemporaryDirectory() {
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  }
  ~TemporaryDirectory() { std::filesystem::remove_all(name, ignored); }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  std::filesystem::path path() const { return name; }

  std::string name = (std::filesystem::temp_directory_path() / "rqbehavior-test-XXXXXX").string();
  std::error_code ignored;
};

// Sets (or, given nullptr, unsets) an environment variable until the end of
// the scope.
struct ScopedEnvironment {
  ScopedEnvironment(const char* name, const char* value) : name(name) {
    if (const char* was = getenv(name)) old = was;
    value != nullptr ? setenv(name, value, 1) : unsetenv(name);
  }
  ~ScopedEnvironment() { old ? setenv(name, old->c_str(), 1) : unsetenv(name); }
  ScopedEnvironment(const ScopedEnvironment&) = delete;
  const char* name;
  std::optional<std::string> old;
};

// A version-4 UUID as the library writes it, as a regular expression.
inline const std::string kUuidPattern =
    "[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}";

// Everything in the file at `path`; "" when it cannot be read.
std::string FileText(const std::filesystem::path& path);

// Waits for the child process `child`: its exit status, or -1 when a signal
// ended it.
int ExitCodeOf(pid_t child);

// Starts a real library thread, for thread pools in tests.
std::error_code StartTestThread(std::function<void()> body);

// The /proc/self/task folder of each of the library's threads, all named
// "rqb-...", by name.
std::multimap<std::string, std::filesystem::path> LibraryThreadTasks();

// Puts a log recorder, a manual background queue, recorded URL sessions and
// an empty class table in force for each test. A test puts other providers
// in force on top with a ScopedPlatformOverride of its own.
class PlatformTest : public ::testing::Test {
 protected:
  RecordingLog log_;
  ManualExecutor background_;
  RecordingUrlSessions sessions_;
  FakeClassLookup classes_;

 private:
  const ScopedPlatformOverride fakes_{Platform{.log = &log_,
                                               .background_queue = &background_,
                                               .url_sessions = &sessions_,
                                               .classes = &classes_}};
};

}  // namespace rqb::test
