#include "FakeNetworkPlatform.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

namespace rqb::test {

// Changes arrive through an eventfd registered on the scheduling loop, the
// way a real target's events arrive through its own descriptor.
class FakeReachabilityTarget final : public ReachabilityTarget {
 public:
  explicit FakeReachabilityTarget(FakeNetworkReachability& owner)
      : owner_(owner), changes_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

  ~FakeReachabilityTarget() override {
    // Whoever owned the target should have unscheduled it first.
    if (scheduled_.Unschedule(nullptr)) owner_.Record("destroy while scheduled");
    owner_.Forget(this);
    close(changes_);
  }

  std::optional<ReachabilityFlags> GetFlags() override {
    std::lock_guard lock(owner_.mutex_);
    return owner_.flags_;
  }

  bool SetCallback(Callback callback) override {
    std::lock_guard lock(mutex_);
    callback_ = std::move(callback);
    return true;
  }

  bool ScheduleWithRunLoop(const std::shared_ptr<RunLoop>& loop) override {
    {
      std::lock_guard lock(owner_.mutex_);
      if (owner_.refuse_scheduling_) return false;
    }
    if (const std::shared_ptr<RunLoop> current = scheduled_.loop()) return current == loop;
    if (!scheduled_.Schedule(loop, changes_, [this] { OnChange(); })) return false;
    owner_.Record("schedule");
    return true;
  }

  bool UnscheduleFromRunLoop(const RunLoop& loop) override {
    if (!scheduled_.Unschedule(&loop)) return false;
    owner_.Record("unschedule");
    return true;
  }

  void InjectChange() {
    const std::uint64_t one = 1;
    [[maybe_unused]] ssize_t written = write(changes_, &one, sizeof one);
  }

 private:
  void OnChange() {
    std::uint64_t count = 0;
    [[maybe_unused]] ssize_t got = read(changes_, &count, sizeof count);
    Callback callback;
    {
      std::lock_guard lock(mutex_);
      callback = callback_;
    }
    if (callback) callback(GetFlags().value_or(0));
  }

  FakeNetworkReachability& owner_;
  const int changes_;
  std::mutex mutex_;
  Callback callback_;
  ScheduledSource scheduled_;
};

std::unique_ptr<ReachabilityTarget> FakeNetworkReachability::CreateWithName(std::string_view) {
  return MakeTarget();
}

std::unique_ptr<ReachabilityTarget> FakeNetworkReachability::CreateWithAddress(
    std::span<const std::uint8_t> address) {
  {
    std::lock_guard lock(mutex_);
    addresses_.emplace_back(address.begin(), address.end());
  }
  return MakeTarget();
}

std::unique_ptr<ReachabilityTarget> FakeNetworkReachability::MakeTarget() {
  std::lock_guard lock(mutex_);
  if (refuse_targets_) return nullptr;
  events_.push_back("create");
  auto target = std::make_unique<FakeReachabilityTarget>(*this);
  targets_.push_back(target.get());
  return target;
}

void FakeNetworkReachability::SetFlags(std::optional<ReachabilityFlags> flags) {
  std::lock_guard lock(mutex_);
  flags_ = flags;
}

void FakeNetworkReachability::RefuseTargets(bool refuse) {
  std::lock_guard lock(mutex_);
  refuse_targets_ = refuse;
}

void FakeNetworkReachability::RefuseScheduling(bool refuse) {
  std::lock_guard lock(mutex_);
  refuse_scheduling_ = refuse;
}

void FakeNetworkReachability::InjectChange() {
  std::lock_guard lock(mutex_);
  for (FakeReachabilityTarget* target : targets_) target->InjectChange();
}

void FakeNetworkReachability::Record(std::string event) {
  std::lock_guard lock(mutex_);
  events_.push_back(std::move(event));
}

void FakeNetworkReachability::Forget(FakeReachabilityTarget* target) {
  std::lock_guard lock(mutex_);
  targets_.erase(std::find(targets_.begin(), targets_.end(), target));
  events_.push_back("destroy");
}

std::vector<std::string> FakeNetworkReachability::Events() const {
  std::lock_guard lock(mutex_);
  return events_;
}

std::vector<std::vector<std::uint8_t>> FakeNetworkReachability::Addresses() const {
  std::lock_guard lock(mutex_);
  return addresses_;
}

FakeNetworkPlatform::FakeNetworkPlatform(const char* system_version)
    : operating_system(system_version) {
  Platform fakes;
  fakes.network_reachability = &reachability;
  fakes.captive_network = &captive_network;
  fakes.telephony = &telephony;
  fakes.operating_system = &operating_system;
  in_force_.emplace(fakes);
}

}  // namespace rqb::test
