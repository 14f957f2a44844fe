#include "Platform/linux/LinuxLogSink.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "Platform/Platform.h"

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
                           "rqbehavior_tests\\[" + pid +
                           ":[0-9]+\\] captureDeviceIdentifier Exception: boom\n"));
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

}  // namespace
}  // namespace rqb
