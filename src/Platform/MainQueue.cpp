#include "Platform/MainQueue.h"

#include <utility>

namespace rqb {

void DrainableMainQueue::Submit(std::function<void()> task) {
  std::function<void()> wake;
  {
    std::lock_guard lock(mutex_);
    tasks_.push_back(std::move(task));
    wake = wake_handler_;
  }
  if (wake) wake();
}

std::size_t DrainableMainQueue::Drain() {
  std::lock_guard serving(serving_.Get());
  std::deque<std::function<void()>> due;
  {
    std::lock_guard lock(mutex_);
    due.swap(tasks_);
  }
  for (std::function<void()>& task : due) task();
  return due.size();
}

void DrainableMainQueue::SetWakeHandler(std::function<void()> handler) {
  std::lock_guard lock(mutex_);
  wake_handler_ = std::move(handler);
}

}  // namespace rqb
