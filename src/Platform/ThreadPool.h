// A fixed number of worker threads serving one FIFO of tasks.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "Platform/TaskExecutor.h"

namespace rqb {

class ThreadPool final : public TaskExecutor {
 public:
  // `thread_count` workers, started on the first Submit() so that a host that
  // never collects starts no thread. Each worker runs `on_thread_start`
  // (naming, priority) before its first task.
  ThreadPool(std::size_t thread_count, std::function<void()> on_thread_start);
  // Runs the tasks already submitted, then joins the workers.
  ~ThreadPool() override;

  void Submit(std::function<void()> task) override;

 private:
  void WorkerLoop();

  const std::size_t thread_count_;
  const std::function<void()> on_thread_start_;
  std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<std::function<void()>> tasks_;  // guarded by mutex_
  std::vector<std::thread> workers_;         // guarded by mutex_
  std::size_t idle_workers_ = 0;             // guarded by mutex_
  bool stopping_ = false;                    // guarded by mutex_
};

}  // namespace rqb
