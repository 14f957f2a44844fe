// Notifications through the default NSNotificationCenter, where the host's
// observers are. The sender is a C++ object, so it travels as an NSValue
// holding its address: observers compare `pointerValue` with their monitor.
#include "Platform/NotificationPoster.h"
#include "Platform/apple/AppleBridge.h"
#include "Platform/apple/AppleProviders.h"

namespace rqb::apple {
namespace {

class AppleNotificationPoster final : public NotificationPoster {
 public:
  void Post(std::string_view name, void* object) override {
    CallPlatform([&] {
      @autoreleasepool {
        [[NSNotificationCenter defaultCenter]
            postNotificationName:ToNSString(name)
                          object:object != nullptr ? [NSValue valueWithPointer:object] : nil];
      }
    });
  }
};

}  // namespace

NotificationPoster* NewNotificationPoster() { return new AppleNotificationPoster(); }

}  // namespace rqb::apple
