#include "Platform/linux/LinuxLogSink.h"

#include <errno.h>
#include <signal.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>

namespace rqb {

std::string FormatLogLine(const std::tm& local_time, int milliseconds, std::string_view program,
                          long pid, long tid, std::string_view message) {
  char stamp[64];
  std::snprintf(stamp, sizeof stamp, "%04d-%02d-%02d %02d:%02d:%02d.%03d ",
                local_time.tm_year + 1900, local_time.tm_mon + 1, local_time.tm_mday,
                local_time.tm_hour, local_time.tm_min, local_time.tm_sec, milliseconds);
  std::string line = stamp;
  line += program;
  line += '[' + std::to_string(pid) + ':' + std::to_string(tid) + "] ";
  line += message;
  if (line.back() != '\n') line += '\n';
  return line;
}

LogLinePrefix LinuxLogSink::LinePrefix() {
  return LogLinePrefix{std::chrono::system_clock::now(), program_invocation_short_name,
                       static_cast<long>(getpid()), static_cast<long>(syscall(SYS_gettid))};
}

namespace {

// Writes `line` to stderr without ever raising SIGPIPE, on whichever thread
// logs: when stderr is a pipe without a reader the write fails with EPIPE. The
// library's own threads block SIGPIPE for good; on a host thread it is blocked
// for the write, and the signal the write raised is taken back before the
// thread's mask is restored, unless one was pending already.
void WriteWithoutSigpipe(const std::string& line) {
  sigset_t pipe_only;
  sigemptyset(&pipe_only);
  sigaddset(&pipe_only, SIGPIPE);
  sigset_t pending;
  sigpending(&pending);
  const bool was_pending = sigismember(&pending, SIGPIPE) == 1;
  sigset_t previous;
  pthread_sigmask(SIG_BLOCK, &pipe_only, &previous);
  bool broken_pipe = false;
  for (std::size_t written = 0; written < line.size();) {
    const ssize_t n = ::write(STDERR_FILENO, line.data() + written, line.size() - written);
    if (n < 0 && errno == EINTR) continue;
    broken_pipe = n < 0 && errno == EPIPE;
    if (n <= 0) break;  // nowhere to log to; never fail the caller
    written += static_cast<std::size_t>(n);
  }
  if (broken_pipe && !was_pending) {
    const timespec no_wait{};
    while (sigtimedwait(&pipe_only, nullptr, &no_wait) < 0 && errno == EINTR) {
    }
  }
  pthread_sigmask(SIG_SETMASK, &previous, nullptr);
}

}  // namespace

void LinuxLogSink::Write(std::string_view message) {
  const LogLinePrefix prefix = LinePrefix();
  const std::time_t seconds = std::chrono::system_clock::to_time_t(prefix.time);
  const auto since_epoch = prefix.time.time_since_epoch();
  const auto millis =
      std::chrono::duration_cast<std::chrono::milliseconds>(since_epoch).count() % 1000;
  std::tm local{};
  localtime_r(&seconds, &local);
  const std::string line =
      FormatLogLine(local, static_cast<int>(millis < 0 ? millis + 1000 : millis), prefix.program,
                    prefix.process_id, prefix.thread_id, message);
  WriteWithoutSigpipe(line);
}

}  // namespace rqb
