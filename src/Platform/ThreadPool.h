// A bounded number of worker threads serving one FIFO of tasks.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <system_error>

#include "Platform/PerProcess.h"
#include "Platform/TaskExecutor.h"

namespace rqb {

// Starts `body` on a new detached thread set up by the platform (name,
// priority, signal mask). Returns the error when the system refuses a thread;
// `body` is then destroyed without running.
using ThreadStarter = std::function<std::error_code(std::function<void()> body)>;

class ThreadPool final : public TaskExecutor {
 public:
  // At most `thread_count` workers, started through `start_thread`. A task
  // submitted to a pool without workers starts the first one on the
  // submitting thread; every further one is started by a worker as it takes
  // a task and leaves no other worker idle or starting, so that a task
  // submitted meanwhile never waits for a busy worker while the pool may
  // still grow: tasks run side by side up to the bound. A host that never
  // submits starts no thread, and a submitting thread pays for at most one.
  ThreadPool(std::size_t thread_count, ThreadStarter start_thread);
  // Runs the tasks already submitted, then waits until the workers are gone.
  ~ThreadPool() override;

  // Queues `task` and returns no error; or, when the pool has no worker and
  // the system refuses to start one, leaves `task` untouched and returns why.
  // While at least one worker runs, a refused start only delays the task.
  [[nodiscard]] std::error_code TrySubmit(std::function<void()>& task);

  // TrySubmit(), and when that refuses, drops the task with one log line.
  void Submit(std::function<void()> task) override;

 private:
  // What the workers of one process share. A forked child starts with a fresh
  // State: the parent's workers do not exist in it, and what the parent had
  // queued is the parent's to run.
  struct State {
    std::mutex mutex;
    std::condition_variable wake;             // a task arrived, or the pool is ending
    std::condition_variable exited;           // a worker is gone
    std::deque<std::function<void()>> tasks;  // guarded by mutex
    std::size_t workers = 0;                  // started and not gone; guarded by mutex
    std::size_t idle_workers = 0;             // guarded by mutex
    std::size_t starting_workers = 0;         // started, not yet serving; guarded by mutex
    bool stopping = false;                    // guarded by mutex
  };

  // Counts a new worker and starts it, with `lock` (of state.mutex) released
  // meanwhile; the error when the system refuses it.
  std::error_code StartWorker(std::unique_lock<std::mutex>& lock, State& state);
  // Whether a worker should start another: none is idle or starting, and the
  // bound allows one (also while the pool ends: what was queued still runs
  // side by side). Under state.mutex.
  bool NeedsSpare(const State& state) const;
  void WorkerLoop(State& state);

  const std::size_t thread_count_;
  const ThreadStarter start_thread_;
  PerProcess<State> state_;
};

}  // namespace rqb
