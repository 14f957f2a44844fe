// A callback that one thread may revoke while others are calling it.
#pragma once

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "Platform/PerProcess.h"

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
    Calls& calls = calls_.Get();
    {
      std::lock_guard lock(calls.mutex);
      if (revoked_.load(std::memory_order_relaxed)) return false;
      calls.running_on.push_back(std::this_thread::get_id());
    }
    // Counted out however the call ends, also when the callback ends its
    // thread and the thread unwinds through here.
    struct CountOut {
      Calls& calls;
      ~CountOut() {
        std::lock_guard lock(calls.mutex);
        calls.running_on.erase(std::find(calls.running_on.begin(), calls.running_on.end(),
                                         std::this_thread::get_id()));
        calls.finished.notify_all();
      }
    } count_out{calls};
    callback_(std::forward<Args>(args)...);
    return true;
  }

  void Revoke() {
    Calls& calls = calls_.Get();
    std::unique_lock lock(calls.mutex);
    revoked_.store(true, std::memory_order_relaxed);
    const std::thread::id self = std::this_thread::get_id();
    calls.finished.wait(lock, [&] {
      return std::all_of(calls.running_on.begin(), calls.running_on.end(),
                         [&](std::thread::id id) { return id == self; });
    });
  }

 private:
  // The calls under way in one process: a forked child has none of its
  // parent's, whose threads it does not have.
  struct Calls {
    std::mutex mutex;
    std::condition_variable finished;
    std::vector<std::thread::id> running_on;  // guarded by mutex; one entry per call under way
  };

  const std::function<void(Args...)> callback_;  // never changes, so called unlocked
  std::atomic<bool> revoked_ = false;            // changed under the process's Calls::mutex
  PerProcess<Calls> calls_;
};

}  // namespace rqb
