// The serial queue of the host's main thread.
#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>

#include "Platform/TaskExecutor.h"

namespace rqb {

// Tasks submitted here run later, one at a time and in order, on whichever
// thread serves the queue: the main thread's run loop, or a host that calls
// Drain() from its own loop. Submit() never runs a task itself.
class MainQueue final : public TaskExecutor {
 public:
  void Submit(std::function<void()> task) override;

  // Runs, on the calling thread, the tasks queued before the call, in order;
  // tasks they queue wait for the next Drain(). Returns how many ran. Calls
  // from several threads are served one after another.
  std::size_t Drain();

  // `handler` is called after every Submit(), on the submitting thread, so
  // that the loop serving the queue can wake up. Pass nullptr to remove it.
  void SetWakeHandler(std::function<void()> handler);

 private:
  std::mutex serving_;  // held while tasks run, keeping the queue serial
  std::mutex mutex_;
  std::deque<std::function<void()>> tasks_;  // guarded by mutex_
  std::function<void()> wake_handler_;       // guarded by mutex_
};

}  // namespace rqb
