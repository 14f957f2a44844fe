// Random bytes from the system's CSPRNG, and UUIDs as the platform makes them.
#include <stdlib.h>

#include "Platform/RandomSource.h"
#include "Platform/apple/AppleBridge.h"
#include "Platform/apple/AppleProviders.h"

namespace rqb::apple {
namespace {

class AppleRandomSource final : public RandomSource {
 public:
  void Fill(std::span<std::uint8_t> bytes) override { arc4random_buf(bytes.data(), bytes.size()); }

  // Session and device-generated identifiers come from NSUUID, already in
  // the canonical upper-case form.
  std::string NewUuidString() override {
    return CallPlatform([] {
      @autoreleasepool {
        return ToText([NSUUID UUID].UUIDString).value_or(std::string());
      }
    });
  }
};

}  // namespace

RandomSource* NewRandomSource() { return new AppleRandomSource(); }

}  // namespace rqb::apple
