// The platform log: one line per message, for failures the host never sees.
#pragma once

#include <string_view>

namespace rqb {

class LogSink {
 public:
  LogSink() = default;
  LogSink(const LogSink&) = delete;
  LogSink& operator=(const LogSink&) = delete;
  virtual ~LogSink() = default;

  // Writes `message` as one log line. Called from any thread; never throws.
  virtual void Write(std::string_view message) = 0;
};

// Writes `message` to the current platform's log.
void LogMessage(std::string_view message);

}  // namespace rqb
