// A callback that one thread may revoke while others are calling it.
#pragma once

#include <algorithm>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace rqb {

// Once Revoke() has returned, the callback is not running on any other thread
// and never starts again, so its owner may release what the callback uses.
// Revoke() called from inside the callback does not wait for that call (it
// would wait for itself); calls on other threads are still waited for.
template <typename... Args>
class RevocableCallback {
 public:
  explicit RevocableCallback(std::function<void(Args...)> callback)
      : callback_(std::move(callback)) {}
  RevocableCallback(const RevocableCallback&) = delete;
  RevocableCallback& operator=(const RevocableCallback&) = delete;

  // Calls the callback unless it is revoked; returns whether it ran.
  bool Invoke(Args... args) {
    {
      std::lock_guard lock(mutex_);
      if (revoked_) return false;
      running_on_.push_back(std::this_thread::get_id());
    }
    // Counted out however the call ends, also when the callback ends its
    // thread and the thread unwinds through here.
    struct CountOut {
      RevocableCallback& callback;
      ~CountOut() {
        std::lock_guard lock(callback.mutex_);
        callback.running_on_.erase(std::find(
            callback.running_on_.begin(), callback.running_on_.end(), std::this_thread::get_id()));
        callback.finished_.notify_all();
      }
    } count_out{*this};
    callback_(std::forward<Args>(args)...);
    return true;
  }

  void Revoke() {
    std::unique_lock lock(mutex_);
    revoked_ = true;
    const std::thread::id self = std::this_thread::get_id();
    finished_.wait(lock, [&] {
      return std::all_of(running_on_.begin(), running_on_.end(),
                         [&](std::thread::id id) { return id == self; });
    });
  }

 private:
  const std::function<void(Args...)> callback_;  // never changes, so called unlocked
  std::mutex mutex_;
  std::condition_variable finished_;
  bool revoked_ = false;                     // guarded by mutex_
  std::vector<std::thread::id> running_on_;  // guarded by mutex_; one entry per call under way
};

}  // namespace rqb
