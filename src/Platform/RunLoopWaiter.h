// The operating-system half of a run loop: blocking until there is work.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace rqb {

// Blocks one run loop's thread until one of its descriptors is readable,
// another thread wakes it, or a deadline passes. Implemented once per
// operating system.
class RunLoopWaiter {
 public:
  using Deadline = std::optional<std::chrono::steady_clock::time_point>;

  // A new waiter, or nullptr when the system has no resources left for one.
  static std::unique_ptr<RunLoopWaiter> Create();

  RunLoopWaiter() = default;
  RunLoopWaiter(const RunLoopWaiter&) = delete;
  RunLoopWaiter& operator=(const RunLoopWaiter&) = delete;
  virtual ~RunLoopWaiter() = default;

  // Makes the Wait() under way, or else the next one, return. Any thread.
  virtual void Wake() = 0;

  // Waits until a descriptor of `fds` is readable (or closed or in error), a
  // Wake() arrives, or `deadline` passes (never, when it is empty). Returns
  // the ready descriptors, possibly none. Only on the owning thread.
  virtual std::vector<int> Wait(std::span<const int> fds, Deadline deadline) = 0;
};

// Whether the caller is the process's main thread: the thread that started
// the process, the one whose run loop serves the main queue.
bool IsMainThread();

}  // namespace rqb
