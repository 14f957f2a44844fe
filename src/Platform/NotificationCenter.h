// Named notifications delivered to observers in the same process.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "Platform/ForkGate.h"
#include "Platform/NotificationPoster.h"
#include "Platform/RevocableCallback.h"

namespace rqb {

struct Notification {
  std::string_view name;
  // The sender, as the poster passed it; the center never touches it.
  void* object = nullptr;
};

// Observers register for a notification name; Post() calls every observer of
// that name synchronously on the posting thread, in the order they were
// added, and returns when all have run. Every method may be called from any
// thread, also from inside an observer.
class NotificationCenter final {
 public:
  using ObserverId = std::uint64_t;
  using Observer = std::function<void(const Notification&)>;

  // The process-wide center, created on first use and never destroyed.
  static NotificationCenter& Default();

  NotificationCenter() = default;
  NotificationCenter(const NotificationCenter&) = delete;
  NotificationCenter& operator=(const NotificationCenter&) = delete;

  ObserverId AddObserver(std::string name, Observer observer);
  // Once this returns, the observer is not running on another thread and is
  // never called again, so its owner may release what it uses. Unknown ids
  // are ignored.
  void RemoveObserver(ObserverId id);
  void Post(std::string_view name, void* object);

 private:
  struct Registration {
    std::string name;
    std::shared_ptr<RevocableCallback<const Notification&>> observer;
  };

  ForkSafeMutex mutex_;
  std::map<ObserverId, Registration> observers_;  // guarded by mutex_; ordered by id, so by age
  ObserverId next_id_ = 1;                        // guarded by mutex_
};

// Posts to NotificationCenter::Default(), for systems without a notification
// center of their own.
class DefaultCenterPoster final : public NotificationPoster {
 public:
  void Post(std::string_view name, void* object) override;
};

}  // namespace rqb
