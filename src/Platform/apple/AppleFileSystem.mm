// The documents directory and path probes through Foundation.
#include "Platform/FileSystem.h"
#include "Platform/apple/AppleBridge.h"
#include "Platform/apple/AppleOptInReadings.h"
#include "Platform/apple/AppleProviders.h"

namespace rqb::apple {
namespace {

class AppleFileSystem final : public FileSystem {
 public:
  std::optional<std::string> DocumentsDirectory() const override {
    return CallPlatform([] {
      @autoreleasepool {
        return ToText(
            NSSearchPathForDirectoriesInDomains(NSDocumentDirectory, NSUserDomainMask, YES)
                .lastObject);
      }
    });
  }

  std::optional<std::uint64_t> FreeBytes(const std::string& path) const override {
    return FileSystemFreeSize(path);
  }

  // The default manager is fetched again for every path.
  bool Exists(const std::string& path) const override {
    return CallPlatform([&] {
      @autoreleasepool {
        NSString* platform_path = ToNSString(path);
        return platform_path != nil &&
               [[NSFileManager defaultManager] fileExistsAtPath:platform_path] == YES;
      }
    });
  }
};

}  // namespace

FileSystem* NewFileSystem() { return new AppleFileSystem(); }

}  // namespace rqb::apple
