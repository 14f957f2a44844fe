// Log lines: replacing a host's log handler while the library logs on other
// threads (what a handler receives is checked through the C interface, which
// wraps this one), and the Linux sink's line on stderr when none is installed.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <future>
#include <stdexcept>
#include <thread>

#include "FakePlatform.h"
#include "Platform/LogSink.h"
#include "Platform/linux/LinuxLogSink.h"
#include "RQBehavior/RQBehavior.h"

namespace rqb {
namespace {

using namespace std::chrono_literals;
using test::PlatformTest;
using test::Recorded;

class LogHandler : public PlatformTest {
 protected:
  ~LogHandler() override { RQBehavior::setLogHandler(nullptr); }
};

TEST_F(LogHandler, OnceReplacedTheOldHandlerHasReturnedAndIsNeverCalledAgain) {
  std::promise<void> entered;
  std::promise<void> release;
  std::atomic<int> old_calls = 0;
  std::atomic<bool> replaced = false;
  std::atomic<bool> replaced_while_old_ran = false;
  RQBehavior::setLogHandler([&, released = release.get_future().share()](const RQBLogMessage&) {
    if (++old_calls > 1) return;
    entered.set_value();
    released.wait();
    replaced_while_old_ran = replaced.load();
  });
  std::thread logging([] { LogMessage("variables POST ERROR: first"); });
  entered.get_future().wait();

  Recorded<std::string> new_messages;
  std::thread replacing([&] {
    RQBehavior::setLogHandler(
        [&](const RQBLogMessage& message) { new_messages.Add(std::string(message.text)); });
    replaced = true;
  });
  // Gives the replacement time to reach its wait for the old handler; a
  // replacement that does not wait returns meanwhile and is caught below.
  std::this_thread::sleep_for(50ms);
  release.set_value();
  replacing.join();
  logging.join();
  EXPECT_FALSE(replaced_while_old_ran);

  LogMessage("variables POST ERROR: second");
  EXPECT_EQ(old_calls, 1);
  EXPECT_EQ(new_messages.Get(), std::vector<std::string>{"variables POST ERROR: second"});
  EXPECT_TRUE(log_.Lines().empty());
}

TEST_F(LogHandler, AHandlerMayRemoveItselfAndWhatItThrowsIsDropped) {
  std::atomic<int> calls = 0;
  RQBehavior::setLogHandler([&](const RQBLogMessage&) {
    if (++calls == 1) throw std::runtime_error("host logger is down");
    RQBehavior::setLogHandler(nullptr);  // must not wait for this very call
  });
  LogMessage("variables POST ERROR: first");
  LogMessage("variables POST ERROR: second");
  LogMessage("variables POST ERROR: third");
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(log_.Lines(), std::vector<std::string>{"variables POST ERROR: third"});
}

TEST(LinuxLogSink, FormatsThePlatformLogLine) {
  std::tm local{};
  local.tm_year = 2026 - 1900;
  local.tm_mon = 10;
  local.tm_mday = 3;
  local.tm_hour = 9;
  local.tm_min = 5;
  local.tm_sec = 7;
  EXPECT_EQ(FormatLogLine(local, 42, "shop", 812, 815, "variables POST ERROR: refused"),
            "2026-11-03 09:05:07.042 shop[812:815] variables POST ERROR: refused\n");
  EXPECT_EQ(FormatLogLine(local, 0, "shop", 1, 2, "ends in a newline\n"),
            "2026-11-03 09:05:07.000 shop[1:2] ends in a newline\n");
}

// The line and the prefix a host's log handler receives in its place name the
// program, the process and the writing thread.
TEST(LinuxLogSink, WritesOneLineToStandardErrorPrefixedWithProgramProcessAndThread) {
  const auto before = std::chrono::system_clock::now();
  LogLinePrefix prefix;
  testing::internal::CaptureStderr();
  std::thread([&] {
    LinuxLogSink sink;
    prefix = sink.LinePrefix();
    sink.Write("captureDeviceIdentifier Exception: boom");
  }).join();
  const std::string written = testing::internal::GetCapturedStderr();
  EXPECT_EQ(prefix.program, "rqbehavior_tests");
  EXPECT_EQ(prefix.process_id, getpid());
  EXPECT_NE(prefix.thread_id, getpid()) << "not the writing thread's id";
  EXPECT_LE(before, prefix.time);
  EXPECT_LE(prefix.time, std::chrono::system_clock::now());
  EXPECT_THAT(written,
              testing::MatchesRegex(
                  "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} "
                  "rqbehavior_tests\\[" +
                  std::to_string(prefix.process_id) + ":" + std::to_string(prefix.thread_id) +
                  "\\] captureDeviceIdentifier Exception: boom\n"));
}

TEST(LinuxLogSink, AStderrPipeWithoutReaderLosesTheLineWithoutASignal) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  close(ends[0]);
  const int saved_stderr = dup(STDERR_FILENO);
  dup2(ends[1], STDERR_FILENO);
  close(ends[1]);
  // On the test's own thread, where SIGPIPE is not blocked and kills.
  LinuxLogSink().Write("variables POST ERROR: no reader");
  dup2(saved_stderr, STDERR_FILENO);
  close(saved_stderr);
  sigset_t pending;
  sigpending(&pending);
  EXPECT_FALSE(sigismember(&pending, SIGPIPE)) << "the write's SIGPIPE was left pending";
}

}  // namespace
}  // namespace rqb
