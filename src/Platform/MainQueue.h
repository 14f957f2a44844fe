// The serial queue of the host's main thread.
#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>

#include "Platform/ForkGate.h"
#include "Platform/PerProcess.h"
#include "Platform/TaskExecutor.h"

namespace rqb {

// Tasks submitted here run later, one at a time and in order, on the host's
// main thread. Submit() never runs a task itself.
class MainQueue : public TaskExecutor {
 public:
  // Runs, on the calling thread, the tasks that wait for someone to serve the
  // queue, and returns how many ran. Where the system serves its main queue
  // itself, nothing waits and this returns 0.
  virtual std::size_t Drain() = 0;

  // `handler` is called after every Submit(), on the submitting thread, so
  // that the loop serving the queue can wake up. Pass nullptr to remove it.
  // Ignored where the system wakes its own main thread.
  virtual void SetWakeHandler(std::function<void()> handler) = 0;
};

// The library's own main queue, for systems that have none: tasks wait until
// the main thread's run loop or a host calling Drain() serves them.
class DrainableMainQueue final : public MainQueue {
 public:
  void Submit(std::function<void()> task) override;

  // Runs the tasks queued before the call, in order; tasks they queue wait
  // for the next Drain(). Calls from several threads are served one after
  // another.
  std::size_t Drain() override;

  void SetWakeHandler(std::function<void()> handler) override;

 private:
  // Held while tasks run, keeping the queue serial; a forked child's own,
  // as the parent may be serving it at the fork.
  PerProcess<std::mutex> serving_;
  ForkSafeMutex mutex_;
  std::deque<std::function<void()>> tasks_;  // guarded by mutex_
  std::function<void()> wake_handler_;       // guarded by mutex_
};

}  // namespace rqb
