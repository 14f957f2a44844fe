// The platform log on Linux: timestamped lines on stderr.
#pragma once

#include <ctime>
#include <string>
#include <string_view>

#include "Platform/LogSink.h"

namespace rqb {

// "YYYY-MM-DD HH:MM:SS.mmm program[pid:tid] message", ending in one newline
// (none added when `message` already ends in one).
std::string FormatLogLine(const std::tm& local_time, int milliseconds, std::string_view program,
                          long pid, long tid, std::string_view message);

class LinuxLogSink final : public LogSink {
 public:
  // Writes the line in one write(2) on stderr, in local time, with the
  // program's short name and the calling thread's kernel id. A stderr that
  // is a pipe without a reader loses the line, never raising SIGPIPE.
  void Write(std::string_view message) override;

  // The time now, the program's short name, the process id and the calling
  // thread's kernel id (gettid).
  LogLinePrefix LinePrefix() override;
};

}  // namespace rqb
