// Where background work runs.
#pragma once

#include <functional>

namespace rqb {

class TaskExecutor {
 public:
  TaskExecutor() = default;
  TaskExecutor(const TaskExecutor&) = delete;
  TaskExecutor& operator=(const TaskExecutor&) = delete;
  virtual ~TaskExecutor() = default;

  // Takes ownership of `task` and runs it later, on another thread, without
  // waiting. Tasks may run concurrently with each other. Called from any
  // thread; never throws. An executor that cannot get a thread for the task
  // drops it with a log line rather than run it on the caller's thread.
  virtual void Submit(std::function<void()> task) = 0;
};

}  // namespace rqb
