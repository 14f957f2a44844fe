#include "Platform/ThreadPool.h"

#include <utility>

namespace rqb {

ThreadPool::ThreadPool(std::size_t thread_count, std::function<void()> on_thread_start)
    : thread_count_(thread_count == 0 ? 1 : thread_count),
      on_thread_start_(std::move(on_thread_start)) {}

ThreadPool::~ThreadPool() {
  std::vector<std::thread> workers;
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
    workers.swap(workers_);
  }
  wake_.notify_all();
  for (std::thread& worker : workers) worker.join();
}

void ThreadPool::Submit(std::function<void()> task) {
  {
    std::lock_guard lock(mutex_);
    tasks_.push_back(std::move(task));
    // Grow only while the queued tasks outnumber the idle workers.
    if (workers_.size() < thread_count_ && idle_workers_ < tasks_.size()) {
      workers_.emplace_back([this] { WorkerLoop(); });
    }
  }
  wake_.notify_one();
}

void ThreadPool::WorkerLoop() {
  if (on_thread_start_) on_thread_start_();
  std::unique_lock lock(mutex_);
  for (;;) {
    ++idle_workers_;
    wake_.wait(lock, [this] { return stopping_ || !tasks_.empty(); });
    --idle_workers_;
    if (tasks_.empty()) return;  // stopping, and nothing left to run
    std::function<void()> task = std::move(tasks_.front());
    tasks_.pop_front();
    lock.unlock();
    task();
    task = nullptr;  // release what the task captured before taking the lock
    lock.lock();
  }
}

}  // namespace rqb
