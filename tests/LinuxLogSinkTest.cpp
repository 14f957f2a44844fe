#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <csignal>

#include "Platform/Platform.h"
#include "Platform/linux/LinuxLogSink.h"

namespace rqb {
namespace {

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

TEST(LinuxLogSink, WritesOneLineToStandardError) {
  testing::internal::CaptureStderr();
  LinuxLogSink().Write("captureDeviceIdentifier Exception: boom");
  const std::string written = testing::internal::GetCapturedStderr();
  const std::string pid = std::to_string(getpid());
  EXPECT_THAT(written, testing::MatchesRegex(
                           "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} "
                           "rqbehavior_tests\\[" +
                           pid + ":[0-9]+\\] captureDeviceIdentifier Exception: boom\n"));
}

TEST(LinuxLogSink, StandardErrorGetsNothingWhileAHostHandlerTakesTheMessages) {
  LinuxLogSink sink;
  Platform linux_log;
  linux_log.log = &sink;
  ScopedPlatformOverride in_force(linux_log);
  std::vector<std::pair<std::string, LogLinePrefix>> received;
  SetLogHandler([&](std::string_view message, const LogLinePrefix& prefix) {
    received.emplace_back(message, prefix);
  });

  const auto before = std::chrono::system_clock::now();
  testing::internal::CaptureStderr();
  LogMessage("variables POST ERROR: refused");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  ASSERT_EQ(received.size(), 1u);
  const auto& [message, prefix] = received.front();
  EXPECT_EQ(message, "variables POST ERROR: refused");
  EXPECT_EQ(prefix.program, "rqbehavior_tests");
  EXPECT_EQ(prefix.process_id, getpid());
  EXPECT_EQ(prefix.thread_id, syscall(SYS_gettid));
  EXPECT_LE(before, prefix.time);
  EXPECT_LE(prefix.time, std::chrono::system_clock::now());

  SetLogHandler(nullptr);
  testing::internal::CaptureStderr();
  LogMessage("variables POST ERROR: refused");
  EXPECT_THAT(testing::internal::GetCapturedStderr(),
              testing::EndsWith("] variables POST ERROR: refused\n"));
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
