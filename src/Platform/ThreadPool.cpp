#include "Platform/ThreadPool.h"

#include <string>
#include <utility>

#include "Platform/LogSink.h"

namespace rqb {

ThreadPool::ThreadPool(std::size_t thread_count, ThreadStarter start_thread,
                       std::chrono::milliseconds backlog_delay)
    : thread_count_(thread_count == 0 ? 1 : thread_count),
      start_thread_(std::move(start_thread)),
      backlog_delay_(backlog_delay) {}

ThreadPool::~ThreadPool() {
  State& state = state_.Get();
  std::unique_lock lock(state.mutex);
  state.stopping = true;
  state.wake.notify_all();
  // A worker's last step is to signal under the lock, so once this wait
  // returns no worker touches the State again.
  state.exited.wait(lock, [&] { return state.workers == 0; });
}

std::error_code ThreadPool::StartWorker(std::unique_lock<std::mutex>& lock, State& state) {
  ++state.workers;  // counted before it starts, so that the destructor waits for it
  ++state.starting_workers;
  // A worker that starts another does so outside the lock: creating a thread
  // takes long enough to hold up a host's thread that submits meanwhile. The
  // first worker starts under it, so that a task submitted meanwhile never
  // counts on a worker that then fails to start.
  const bool first = state.workers == 1;
  if (!first) lock.unlock();
  const std::error_code refused = start_thread_([this, &state] { WorkerLoop(state); });
  if (!first) lock.lock();
  if (refused) {
    --state.workers;
    --state.starting_workers;
    state.exited.notify_all();
  }
  return refused;
}

std::error_code ThreadPool::TrySubmit(std::function<void()>& task) {
  State& state = state_.Get();
  std::unique_lock lock(state.mutex);
  if (state.workers == 0) {
    if (const std::error_code refused = StartWorker(lock, state)) return refused;
  }
  state.tasks.push_back({std::move(task), Clock::now()});
  state.wake.notify_one();
  return {};
}

void ThreadPool::Submit(std::function<void()> task) {
  if (const std::error_code refused = TrySubmit(task)) {
    // Running it on the caller's thread instead would block the host.
    LogMessage("background queue: no thread could be started (" + refused.message() +
               "); task dropped");
  }
}

void ThreadPool::WorkerLoop(State& state) {
  std::unique_lock lock(state.mutex);
  --state.starting_workers;
  for (;;) {
    ++state.idle_workers;
    state.wake.wait(lock, [&] { return state.stopping || !state.tasks.empty(); });
    --state.idle_workers;
    if (state.tasks.empty()) break;  // stopping, and nothing left to run
    Queued next = std::move(state.tasks.front());
    state.tasks.pop_front();
    // With every worker busy, one more waits for the next task, or takes the
    // tasks backed up behind workers that are slow or blocked. A refused
    // thread only delays them.
    if (state.idle_workers + state.starting_workers == 0 && state.workers < thread_count_ &&
        (state.tasks.empty() || Clock::now() - next.since >= backlog_delay_)) {
      static_cast<void>(StartWorker(lock, state));
    }
    lock.unlock();
    next.task();
    next.task = nullptr;  // release what the task captured before taking the lock
    lock.lock();
  }
  --state.workers;
  state.exited.notify_all();
}

}  // namespace rqb
