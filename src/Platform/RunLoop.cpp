#include "Platform/RunLoop.h"

#include <algorithm>
#include <cassert>
#include <utility>
#include <vector>

#include "Platform/MainQueue.h"
#include "Platform/Platform.h"

namespace rqb {

std::shared_ptr<RunLoop> RunLoop::Current() {
  thread_local const std::shared_ptr<RunLoop> current(
      new RunLoop(std::this_thread::get_id(), IsMainThread()));
  return current;
}

RunLoop::RunLoop(std::thread::id thread, bool serves_main_queue)
    : thread_(thread), serves_main_queue_(serves_main_queue), waiter_(RunLoopWaiter::Create()) {}

RunLoop::~RunLoop() = default;

void RunLoop::Post(std::function<void()> task) {
  {
    std::lock_guard lock(mutex_);
    tasks_.push_back(std::move(task));
  }
  if (waiter_) waiter_->Wake();
}

RunLoop::SourceId RunLoop::AddDescriptorSource(int fd, std::function<void()> on_readable) {
  if (!waiter_ || fd < 0) return 0;
  SourceId id = 0;
  {
    std::lock_guard lock(mutex_);
    id = next_source_id_++;
    sources_.emplace(id, Source{fd, std::make_shared<RevocableCallback<>>(std::move(on_readable))});
    // A run under way polls the old set of descriptors until woken; a loop
    // that is not running takes the new set when it next runs.
    if (run_depth_ == 0) return id;
  }
  waiter_->Wake();
  return id;
}

bool RunLoop::RemoveSource(SourceId id) {
  std::shared_ptr<RevocableCallback<>> callback;
  {
    std::lock_guard lock(mutex_);
    const auto found = sources_.find(id);
    if (found == sources_.end()) return false;
    callback = std::move(found->second.callback);
    sources_.erase(found);
  }
  callback->Revoke();
  return true;
}

void RunLoop::SignalSource(SourceId id) {
  {
    std::lock_guard lock(mutex_);
    const auto found = sources_.find(id);
    if (found == sources_.end()) return;
    found->second.signalled = true;
    // A loop that is not running finds the signal on its next turn.
    if (run_depth_ == 0 || !waiter_) return;
  }
  waiter_->Wake();
}

void RunLoop::Run() { RunWhileNotStopped(std::nullopt); }

bool RunLoop::RunUntil(std::chrono::steady_clock::time_point deadline) {
  return RunWhileNotStopped(deadline);
}

void RunLoop::Stop() {
  {
    std::lock_guard lock(mutex_);
    stop_requested_ = true;
  }
  if (waiter_) waiter_->Wake();
}

bool RunLoop::IsRunning() const {
  std::lock_guard lock(mutex_);
  return run_depth_ > 0;
}

bool RunLoop::TakeStopRequest() {
  std::lock_guard lock(mutex_);
  return std::exchange(stop_requested_, false);
}

bool RunLoop::RunOnePostedTask() {
  std::function<void()> task;
  {
    std::lock_guard lock(mutex_);
    if (tasks_.empty()) return false;
    task = std::move(tasks_.front());
    tasks_.pop_front();
  }
  task();
  return true;
}

bool RunLoop::RunWhileNotStopped(RunLoopWaiter::Deadline deadline) {
  assert(std::this_thread::get_id() == thread_ && "a run loop runs only on its own thread");
  bool outermost = false;
  std::size_t queued = 0;
  {
    std::lock_guard lock(mutex_);
    outermost = run_depth_++ == 0;
    queued = tasks_.size();
  }
  // The outermost run of the main thread's loop serves the main queue: its
  // submissions wake this loop, and each turn drains it.
  MainQueue* main_queue = nullptr;
  if (serves_main_queue_ && outermost && waiter_) {
    main_queue = CurrentPlatform().main_queue;
    main_queue->SetWakeHandler([waiter = waiter_] { waiter->Wake(); });
  }

  bool stopped = false;
  for (;;) {
    if ((stopped = TakeStopRequest())) break;
    // Only the tasks queued before this turn, so that a task that keeps
    // posting cannot starve the sources.
    for (; queued > 0 && !stopped && RunOnePostedTask(); --queued) stopped = TakeStopRequest();
    if (stopped) break;
    if (main_queue != nullptr) {
      main_queue->Drain();
      if ((stopped = TakeStopRequest())) break;
    }
    if (!waiter_ || (deadline && std::chrono::steady_clock::now() >= *deadline)) break;

    std::vector<int> fds;
    bool signalled = false;
    {
      std::lock_guard lock(mutex_);
      queued = tasks_.size();
      if (queued > 0) continue;
      for (const auto& [id, source] : sources_) {
        fds.push_back(source.fd);
        signalled = signalled || source.signalled;
      }
    }
    // A signalled source has work already: look at the descriptors without
    // blocking.
    const std::vector<int> ready =
        waiter_->Wait(fds, signalled ? std::chrono::steady_clock::now() : deadline);
    // Each source once per turn, however many of its descriptors are ready.
    std::vector<std::pair<SourceId, std::shared_ptr<RevocableCallback<>>>> callbacks;
    {
      std::lock_guard lock(mutex_);
      for (const auto& [id, source] : sources_) {
        if (source.signalled || std::find(ready.begin(), ready.end(), source.fd) != ready.end()) {
          callbacks.emplace_back(id, source.callback);
        }
      }
    }
    for (const auto& [id, callback] : callbacks) {
      // A signal stays until its callback runs, so a stop never loses one.
      {
        std::lock_guard lock(mutex_);
        if (const auto found = sources_.find(id); found != sources_.end()) {
          found->second.signalled = false;
        }
      }
      callback->Invoke();
      if ((stopped = TakeStopRequest())) break;
    }
    if (stopped) break;
    std::lock_guard lock(mutex_);
    queued = tasks_.size();
  }

  if (main_queue != nullptr) main_queue->SetWakeHandler(nullptr);
  std::lock_guard lock(mutex_);
  --run_depth_;
  return stopped;
}

std::shared_ptr<RunLoop> ScheduledSource::loop() const {
  std::lock_guard lock(mutex_);
  return loop_;
}

bool ScheduledSource::Schedule(const std::shared_ptr<RunLoop>& loop, int fd,
                               std::function<void()> on_readable) {
  std::lock_guard lock(mutex_);
  if (loop_) return false;
  const RunLoop::SourceId source = loop->AddDescriptorSource(fd, std::move(on_readable));
  if (source == 0) return false;
  loop_ = loop;
  source_ = source;
  return true;
}

std::function<void()> ScheduledSource::Signaller() const {
  std::lock_guard lock(mutex_);
  if (!loop_) return [] {};
  return [loop = loop_, source = source_] { loop->SignalSource(source); };
}

bool ScheduledSource::Unschedule(const RunLoop* loop) {
  std::shared_ptr<RunLoop> scheduled_on;
  RunLoop::SourceId source = 0;
  {
    std::lock_guard lock(mutex_);
    if (!loop_ || (loop != nullptr && loop_.get() != loop)) return false;
    scheduled_on = std::move(loop_);
    source = std::exchange(source_, 0);
  }
  // Outside the lock: removal waits for a callback in progress, which may
  // ask for loop().
  scheduled_on->RemoveSource(source);
  return true;
}

}  // namespace rqb
