// The library's own threads on Linux.
#pragma once

#include <cstddef>
#include <functional>
#include <system_error>
#include <utility>

namespace rqb {

enum class ThreadPriority {
  kInherited,   // the creating thread's
  kBackground,  // the lowest nice level, so that the library's work yields to the host
};

namespace detail {
std::error_code StartLibraryThread(const char* name, ThreadPriority priority,
                                   std::function<void()> body) noexcept;
}  // namespace detail

// Starts `body` on a new detached thread named `name`.
//
// The thread starts with every asynchronous signal blocked, so that the
// host's signal handlers only ever run on the host's own threads and a write
// to a pipe without a reader fails with EPIPE instead of killing the host.
// Signals that a fault raises in the thread itself (SIGSEGV, SIGBUS, SIGFPE,
// SIGILL, SIGTRAP, SIGSYS) stay deliverable.
//
// Returns the error when the system refuses a thread (RLIMIT_NPROC, memory);
// `body` is then destroyed without running. Never throws.
template <std::size_t N>
std::error_code StartLibraryThread(const char (&name)[N], ThreadPriority priority,
                                   std::function<void()> body) noexcept {
  static_assert(N <= 16, "the kernel keeps at most 15 characters of a thread name");
  return detail::StartLibraryThread(name, priority, std::move(body));
}

}  // namespace rqb
