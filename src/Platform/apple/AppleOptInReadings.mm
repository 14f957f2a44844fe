// The opted-in readings: NSFileManager's file-system attributes and
// NSUserDefaults' dictionaryRepresentation.
#include "Platform/apple/AppleOptInReadings.h"

#include "Platform/apple/AppleBridge.h"

namespace rqb::apple {

std::optional<std::uint64_t> FileSystemFreeSize(const std::string& path) {
  return CallPlatform([&]() -> std::optional<std::uint64_t> {
    @autoreleasepool {
      NSString* platform_path = ToNSString(path);
      if (platform_path == nil) return std::nullopt;
      NSDictionary* attributes =
          [[NSFileManager defaultManager] attributesOfFileSystemForPath:platform_path error:nil];
      NSNumber* free_size = attributes[NSFileSystemFreeSize];
      if (free_size == nil) return std::nullopt;
      return free_size.unsignedLongLongValue;
    }
  });
}

std::optional<std::vector<std::string>> MergedDefaultsList(std::string_view key) {
  return CallPlatform([&]() -> std::optional<std::vector<std::string>> {
    @autoreleasepool {
      NSString* platform_key = ToNSString(key);
      if (platform_key == nil) return std::nullopt;
      id entry = [[[NSUserDefaults standardUserDefaults] dictionaryRepresentation]
          valueForKey:platform_key];
      if (![entry isKindOfClass:[NSArray class]]) return std::nullopt;
      std::vector<std::string> texts;
      for (id element in static_cast<NSArray*>(entry)) {
        texts.push_back(DescriptionText(element).value_or(""));
      }
      return texts;
    }
  });
}

}  // namespace rqb::apple
