#include "FakeNetworkPlatform.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

#include "Platform/RunLoop.h"

namespace rqb::test {

// Changes arrive through an eventfd on the scheduling loop, the way a real
// target's arrive through its own descriptor.
struct FakeReachabilityTarget final : ReachabilityTarget {
  explicit FakeReachabilityTarget(FakeNetworkReachability& maker) : owner(maker) {}

  ~FakeReachabilityTarget() override {
    // Whoever owned the target should have unscheduled it first.
    owner.Record(source.Unschedule(nullptr) ? "destroy while scheduled" : "destroy", this);
    close(changes);
  }

  std::optional<ReachabilityFlags> GetFlags() override {
    std::lock_guard lock(owner.mutex_);
    return owner.flags_;
  }

  // Set before scheduling and read only on the scheduling loop's thread.
  bool SetCallback(Callback callback) override {
    on_change = std::move(callback);
    return true;
  }

  bool ScheduleWithCurrentRunLoop() override {
    const bool scheduled = source.Schedule(RunLoop::Current(), changes, [this] {
      eventfd_t count;
      eventfd_read(changes, &count);
      if (on_change) on_change(GetFlags().value_or(0));
    });
    if (scheduled) owner.Record("schedule");
    return scheduled;
  }

  bool UnscheduleFromCurrentRunLoop() override {
    const bool unscheduled = source.Unschedule(RunLoop::Current().get());
    if (unscheduled) owner.Record("unschedule");
    return unscheduled;
  }

  FakeNetworkReachability& owner;
  const int changes = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  Callback on_change;
  ScheduledSource source;
};

std::unique_ptr<ReachabilityTarget> FakeNetworkReachability::CreateWithName(std::string_view) {
  std::lock_guard lock(mutex_);
  if (refuse_targets) return nullptr;
  events.push_back("create");
  auto target = std::make_unique<FakeReachabilityTarget>(*this);
  targets_.push_back(target.get());
  return target;
}

std::unique_ptr<ReachabilityTarget> FakeNetworkReachability::CreateWithAddress(
    std::span<const std::uint8_t> address) {
  {
    std::lock_guard lock(mutex_);
    last_address.assign(address.begin(), address.end());
  }
  return CreateWithName({});
}

void FakeNetworkReachability::SetFlags(std::optional<ReachabilityFlags> flags) {
  std::lock_guard lock(mutex_);
  flags_ = flags;
}

void FakeNetworkReachability::InjectChange() {
  std::lock_guard lock(mutex_);
  for (FakeReachabilityTarget* target : targets_) eventfd_write(target->changes, 1);
}

void FakeNetworkReachability::Record(std::string event, FakeReachabilityTarget* destroyed) {
  std::lock_guard lock(mutex_);
  events.push_back(std::move(event));
  if (destroyed) targets_.erase(std::find(targets_.begin(), targets_.end(), destroyed));
}

}  // namespace rqb::test
