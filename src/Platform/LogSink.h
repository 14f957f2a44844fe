// The platform log: one line per message, for failures the host never sees.
// A host may take the messages instead (SetLogHandler), e.g. into its own
// logger.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <string_view>

namespace rqb {

// What the platform's log line puts before a message.
struct LogLinePrefix {
  std::chrono::system_clock::time_point time;
  std::string program;  // the program's short name
  long process_id = 0;
  long thread_id = 0;  // the writing thread's id, as the platform numbers threads
};

class LogSink {
 public:
  LogSink() = default;
  LogSink(const LogSink&) = delete;
  LogSink& operator=(const LogSink&) = delete;
  virtual ~LogSink() = default;

  // Writes `message` as one log line. Called from any thread; never throws.
  virtual void Write(std::string_view message) = 0;

  // The prefix that Write() would put before a message written now on the
  // calling thread. A host's log handler receives it with each message in
  // place of the line. Called from any thread; never throws.
  virtual LogLinePrefix LinePrefix() = 0;
};

using LogHandler = std::function<void(std::string_view message, const LogLinePrefix& prefix)>;

// Hands each later message to `handler`, with the current platform's line
// prefix, instead of the platform's log; an empty `handler` restores the
// platform's log. The handler may be called on any thread, several at once;
// what it throws is dropped. Once this returns, the handler it replaced is
// not running on another thread and is never called again; called from
// within a handler, it does not wait for that handler's own call.
void SetLogHandler(LogHandler handler);

// Writes `message` to the host's log handler if one is set, else to the
// current platform's log. Never throws.
void LogMessage(std::string_view message);

// Whether the calling thread is inside LogMessage(), so possibly inside the
// host's handler, which then holds up the work being logged.
bool InsideLogHandler();

}  // namespace rqb
