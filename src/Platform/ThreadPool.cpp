#include "Platform/ThreadPool.h"

#include <string>
#include <utility>

#include "Platform/LogSink.h"

namespace rqb {

ThreadPool::ThreadPool(std::size_t thread_count, ThreadStarter start_thread)
    : thread_count_(thread_count == 0 ? 1 : thread_count), start_thread_(std::move(start_thread)) {}

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
  state.tasks.push_back(std::move(task));
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

bool ThreadPool::NeedsSpare(const State& state) const {
  return state.idle_workers + state.starting_workers == 0 && state.workers < thread_count_;
}

void ThreadPool::WorkerLoop(State& state) {
  std::unique_lock lock(state.mutex);
  --state.starting_workers;
  // A task may end the thread it runs on (a host's log handler that calls
  // pthread_exit): the worker is counted out as the thread unwinds, and a
  // replacement starts for the tasks that wait.
  struct CountOut {
    ThreadPool& pool;
    State& state;
    std::unique_lock<std::mutex>& lock;
    ~CountOut() {
      if (!lock.owns_lock()) lock.lock();
      --state.workers;
      state.exited.notify_all();
      if (!state.tasks.empty() && pool.NeedsSpare(state)) {
        static_cast<void>(pool.StartWorker(lock, state));
      }
    }
  } count_out{*this, state, lock};
  for (;;) {
    ++state.idle_workers;
    state.wake.wait(lock, [&] { return state.stopping || !state.tasks.empty(); });
    --state.idle_workers;
    if (state.tasks.empty()) break;  // stopping, and nothing left to run
    std::function<void()> next = std::move(state.tasks.front());
    state.tasks.pop_front();
    // With every worker busy, one more starts for the next task, so that no
    // task waits for another to finish while the pool may grow. A refused
    // thread only delays it.
    if (NeedsSpare(state)) static_cast<void>(StartWorker(lock, state));
    lock.unlock();
    next();
    next = nullptr;  // release what the task captured before taking the lock
    lock.lock();
  }
}

}  // namespace rqb
