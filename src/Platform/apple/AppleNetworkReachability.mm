// Reachability through SystemConfiguration: one SCNetworkReachability target
// per monitor, scheduled on the calling thread's CFRunLoop.
#import <SystemConfiguration/SystemConfiguration.h>
#include <sys/socket.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "Platform/NetworkReachability.h"
#include "Platform/RevocableCallback.h"
#include "Platform/apple/AppleBridge.h"
#include "Platform/apple/AppleProviders.h"

namespace rqb::apple {
namespace {

// The callback as the target's context holds it. The system retains the
// context while it is installed and around every call of it, so a call under
// way on the loop's thread never finds it freed, whatever the owner does
// meanwhile (even destroying the monitor from inside the call).
struct CallbackBox {
  explicit CallbackBox(ReachabilityTarget::Callback callback) : callback(std::move(callback)) {}

  std::atomic<int> references{1};
  RevocableCallback<ReachabilityFlags> callback;
};

const void* RetainBox(const void* info) {
  static_cast<CallbackBox*>(const_cast<void*>(info))->references.fetch_add(1);
  return info;
}

void ReleaseBox(const void* info) {
  auto* box = static_cast<CallbackBox*>(const_cast<void*>(info));
  if (box->references.fetch_sub(1) == 1) delete box;
}

// On the thread whose run loop the target is scheduled on.
void OnReachabilityChange(SCNetworkReachabilityRef, SCNetworkReachabilityFlags flags, void* info) {
  @autoreleasepool {
    static_cast<CallbackBox*>(info)->callback.Invoke(flags);
  }
}

class AppleReachabilityTarget final : public ReachabilityTarget {
 public:
  explicit AppleReachabilityTarget(SCNetworkReachabilityRef target) : target_(target) {}

  // Nobody else uses the target while it goes, so the lock is not needed.
  // The callback is revoked first: a call under way on the loop's thread is
  // waited for, and none starts afterwards.
  ~AppleReachabilityTarget() override {
    if (box_ != nullptr) box_->callback.Revoke();
    if (scheduled_on_ != nullptr) {
      SCNetworkReachabilityUnscheduleFromRunLoop(target_, scheduled_on_, kCFRunLoopDefaultMode);
      CFRelease(scheduled_on_);
    }
    SCNetworkReachabilitySetCallback(target_, nullptr, nullptr);
    if (box_ != nullptr) ReleaseBox(box_);
    CFRelease(target_);
  }

  std::optional<ReachabilityFlags> GetFlags() override {
    SCNetworkReachabilityFlags flags = 0;
    if (!SCNetworkReachabilityGetFlags(target_, &flags)) return std::nullopt;
    return flags;
  }

  bool SetCallback(Callback callback) override {
    auto* box = new CallbackBox(std::move(callback));
    SCNetworkReachabilityContext context = {0, box, RetainBox, ReleaseBox, nullptr};
    CallbackBox* replaced = nullptr;
    {
      std::lock_guard lock(mutex_);
      if (!SCNetworkReachabilitySetCallback(target_, OnReachabilityChange, &context)) {
        ReleaseBox(box);
        return false;
      }
      replaced = std::exchange(box_, box);
    }
    // Unlocked: the replaced callback may be running and may use the target.
    if (replaced != nullptr) {
      replaced->callback.Revoke();
      ReleaseBox(replaced);
    }
    return true;
  }

  bool ScheduleWithCurrentRunLoop() override {
    CFRunLoopRef loop = CFRunLoopGetCurrent();
    std::lock_guard lock(mutex_);
    if (scheduled_on_ != nullptr) return scheduled_on_ == loop;
    if (!SCNetworkReachabilityScheduleWithRunLoop(target_, loop, kCFRunLoopDefaultMode)) {
      return false;
    }
    scheduled_on_ = static_cast<CFRunLoopRef>(const_cast<void*>(CFRetain(loop)));
    return true;
  }

  // On the loop's own thread, so no call of the callback can be under way
  // elsewhere once the target is off the loop.
  bool UnscheduleFromCurrentRunLoop() override {
    CFRunLoopRef loop = CFRunLoopGetCurrent();
    std::lock_guard lock(mutex_);
    if (scheduled_on_ == nullptr || scheduled_on_ != loop) return false;
    SCNetworkReachabilityUnscheduleFromRunLoop(target_, loop, kCFRunLoopDefaultMode);
    CFRelease(std::exchange(scheduled_on_, nullptr));
    return true;
  }

 private:
  const SCNetworkReachabilityRef target_;  // owned: one reference, released last
  std::mutex mutex_;
  CallbackBox* box_ = nullptr;           // guarded by mutex_; one reference of ours
  CFRunLoopRef scheduled_on_ = nullptr;  // guarded by mutex_; retained while scheduled
};

std::unique_ptr<ReachabilityTarget> Wrap(SCNetworkReachabilityRef target) {
  if (target == nullptr) return nullptr;
  return std::make_unique<AppleReachabilityTarget>(target);
}

class AppleNetworkReachability final : public NetworkReachability {
 public:
  std::unique_ptr<ReachabilityTarget> CreateWithName(std::string_view host_name) override {
    const std::string name(host_name);
    return Wrap(SCNetworkReachabilityCreateWithName(nullptr, name.c_str()));
  }

  // The address comes in the system's own layout, its length in byte 0.
  std::unique_ptr<ReachabilityTarget> CreateWithAddress(
      std::span<const std::uint8_t> address) override {
    sockaddr_storage storage{};
    if (address.size() < 2 || address.size() > sizeof storage || address[0] != address.size()) {
      return nullptr;
    }
    std::memcpy(&storage, address.data(), address.size());
    return Wrap(SCNetworkReachabilityCreateWithAddress(
        kCFAllocatorDefault, reinterpret_cast<const sockaddr*>(&storage)));
  }
};

}  // namespace

NetworkReachability* NewNetworkReachability() { return new AppleNetworkReachability(); }

}  // namespace rqb::apple
