#include "Platform/NotificationCenter.h"

#include <utility>
#include <vector>

#include "Platform/ForkGate.h"

namespace rqb {

NotificationCenter& NotificationCenter::Default() {
  return MakeOnce([] { return new NotificationCenter(); });
}

NotificationCenter::ObserverId NotificationCenter::AddObserver(std::string name,
                                                               Observer observer) {
  std::lock_guard lock(mutex_);
  const ObserverId id = next_id_++;
  observers_.emplace(
      id, Registration{std::move(name), std::make_shared<RevocableCallback<const Notification&>>(
                                            std::move(observer))});
  return id;
}

void NotificationCenter::RemoveObserver(ObserverId id) {
  std::shared_ptr<RevocableCallback<const Notification&>> observer;
  {
    std::lock_guard lock(mutex_);
    const auto found = observers_.find(id);
    if (found == observers_.end()) return;
    observer = std::move(found->second.observer);
    observers_.erase(found);
  }
  observer->Revoke();
}

void NotificationCenter::Post(std::string_view name, void* object) {
  // Called unlocked, so that observers may add, remove and post themselves.
  std::vector<std::shared_ptr<RevocableCallback<const Notification&>>> due;
  {
    std::lock_guard lock(mutex_);
    for (const auto& [id, registration] : observers_) {
      if (registration.name == name) due.push_back(registration.observer);
    }
  }
  const Notification notification{name, object};
  for (const auto& observer : due) observer->Invoke(notification);
}

void DefaultCenterPoster::Post(std::string_view name, void* object) {
  NotificationCenter::Default().Post(name, object);
}

}  // namespace rqb
