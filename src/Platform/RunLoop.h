// One event loop per thread: posted tasks and descriptor sources.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

#include "Platform/ForkGate.h"
#include "Platform/RevocableCallback.h"
#include "Platform/RunLoopWaiter.h"

namespace rqb {

// Every thread has one run loop, made on first use. Work reaches a run loop
// as tasks posted from any thread and as callbacks of descriptor sources, and
// runs only on the loop's own thread and only while that thread runs the
// loop (Run() or RunUntil()); a loop that nobody runs keeps its work pending.
// While the main thread's loop runs, it also serves the main queue of the
// platform in force.
class RunLoop final {
 public:
  using SourceId = std::uint64_t;

  // The calling thread's run loop. Others may keep the returned reference to
  // post to it or remove sources; the loop outlives its thread while they do.
  static std::shared_ptr<RunLoop> Current();

  RunLoop(const RunLoop&) = delete;
  RunLoop& operator=(const RunLoop&) = delete;
  ~RunLoop();

  // Queues `task` to run on the loop's thread, after the tasks queued before
  // it. Any thread. A task posted to a loop that never runs again is dropped
  // with the loop.
  void Post(std::function<void()> task);

  // Calls `on_readable` on the loop's thread whenever `fd` is readable (or
  // closed or in error) while the loop runs. The callback must consume what
  // made the descriptor readable, or it is called again at once. The caller
  // keeps `fd` open until the source is removed. Returns 0 on failure. Any
  // thread.
  SourceId AddDescriptorSource(int fd, std::function<void()> on_readable);

  // Removes a source. Once this returns, its callback is not running on
  // another thread and is never called again (from inside the callback it
  // returns at once). Returns false for an unknown id. Any thread.
  bool RemoveSource(SourceId id);

  // Makes a source's callback run at the loop's next turn even though its
  // descriptor is not readable: how another thread hands a source work it
  // has found for it. Signals made before the callback runs count once; a
  // removed source's are ignored. Any thread.
  void SignalSource(SourceId id);

  // Runs the loop on the calling thread, which must be the loop's own, until
  // Stop(). Runs may nest: a callback may run the loop again.
  void Run();
  // Runs the loop until Stop() or `deadline`. Returns true when stopped,
  // false when the deadline came first.
  bool RunUntil(std::chrono::steady_clock::time_point deadline);

  // Makes the innermost run under way return after the callback in progress.
  // A request made while the loop is not running is kept for the next run,
  // so that a stop from another thread is never lost. Any thread.
  void Stop();

  // Whether the loop's thread is inside Run() or RunUntil() now. Any thread.
  bool IsRunning() const;

 private:
  struct Source {
    int fd;
    std::shared_ptr<RevocableCallback<>> callback;
    bool signalled = false;
  };

  RunLoop(std::thread::id thread, bool serves_main_queue);
  bool RunWhileNotStopped(RunLoopWaiter::Deadline deadline);
  // Runs at most one posted task; returns whether one ran.
  bool RunOnePostedTask();
  bool TakeStopRequest();

  const std::thread::id thread_;
  const bool serves_main_queue_;
  const std::shared_ptr<RunLoopWaiter> waiter_;  // null when the system refused one

  mutable ForkSafeMutex mutex_;
  std::deque<std::function<void()>> tasks_;  // guarded by mutex_
  std::map<SourceId, Source> sources_;       // guarded by mutex_
  SourceId next_source_id_ = 1;              // guarded by mutex_
  int run_depth_ = 0;                        // guarded by mutex_
  bool stop_requested_ = false;              // guarded by mutex_
};

// A descriptor source on at most one run loop at a time: the bookkeeping of
// a provider that is scheduled on a loop and unscheduled later, possibly
// from another thread. Every method may be called from any thread.
class ScheduledSource final {
 public:
  ScheduledSource() = default;
  ScheduledSource(const ScheduledSource&) = delete;
  ScheduledSource& operator=(const ScheduledSource&) = delete;

  // The loop it is on, or nullptr.
  std::shared_ptr<RunLoop> loop() const;

  // Puts `fd` on `loop` with `on_readable`. Returns false when the source is
  // on a loop already or `loop` refuses it.
  bool Schedule(const std::shared_ptr<RunLoop>& loop, int fd, std::function<void()> on_readable);

  // Takes the source off `loop`, or off whatever loop it is on when `loop` is
  // nullptr. Returns false when it is not there. Once this returns, the
  // callback is not running on another thread and never runs again.
  bool Unschedule(const RunLoop* loop);

  // A function that signals the source where it is scheduled now (see
  // RunLoop::SignalSource), or does nothing when it is not scheduled. It
  // holds no reference to this object, so it may outlive it.
  std::function<void()> Signaller() const;

 private:
  mutable ForkSafeMutex mutex_;
  std::shared_ptr<RunLoop> loop_;  // guarded by mutex_
  RunLoop::SourceId source_ = 0;   // guarded by mutex_
};

}  // namespace rqb
