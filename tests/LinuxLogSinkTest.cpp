#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <thread>

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
