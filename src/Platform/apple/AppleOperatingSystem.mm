// The running system's version, for the "at least version X" test.
//
// NSProcessInfo's operatingSystemVersion answers what the compiler's
// availability check asks (that check needs a runtime routine of the
// toolchain's own, which a static library cannot count on), and compares
// major, minor and patch the same way.
#include "Platform/OperatingSystem.h"
#include "Platform/apple/AppleBridge.h"
#include "Platform/apple/AppleProviders.h"

namespace rqb::apple {
namespace {

class AppleOperatingSystem final : public OperatingSystem {
 public:
  OperatingSystemVersion Version() const override {
    // Read once per process: the running system does not change under it.
    static const OperatingSystemVersion version = CallPlatform([] {
      const NSOperatingSystemVersion running = NSProcessInfo.processInfo.operatingSystemVersion;
      return OperatingSystemVersion{static_cast<long>(running.majorVersion),
                                    static_cast<long>(running.minorVersion),
                                    static_cast<long>(running.patchVersion)};
    });
    return version;
  }
};

}  // namespace

OperatingSystem* NewOperatingSystem() { return new AppleOperatingSystem(); }

}  // namespace rqb::apple
