// The Wi-Fi interfaces and their networks through the captive-network
// functions of SystemConfiguration. On iOS 13 and later the network
// information needs location authorization and the "Access WiFi
// Information" entitlement; without them the system answers with nothing.
#import <SystemConfiguration/CaptiveNetwork.h>

#include "Platform/CaptiveNetwork.h"
#include "Platform/apple/AppleBridge.h"
#include "Platform/apple/AppleProviders.h"

namespace rqb::apple {
namespace {

class AppleCaptiveNetwork final : public CaptiveNetwork {
 public:
  std::optional<std::vector<std::string>> CopySupportedInterfaces() override {
    return CallPlatform([]() -> std::optional<std::vector<std::string>> {
      @autoreleasepool {
        NSArray* interfaces = CFBridgingRelease(CNCopySupportedInterfaces());
        if (interfaces == nil) return std::nullopt;
        std::vector<std::string> names;
        for (id name in interfaces) {
          if (std::optional<std::string> text = DescriptionText(name)) names.push_back(*text);
        }
        return names;
      }
    });
  }

  // The entries under the system's own names ("SSID", "BSSID", "SSIDDATA");
  // data entries as their raw bytes, anything else as its description.
  std::optional<NetworkInfo> CopyCurrentNetworkInfo(std::string_view interface_name) override {
    return CallPlatform([&]() -> std::optional<NetworkInfo> {
      @autoreleasepool {
        NSString* name = ToNSString(interface_name);
        if (name == nil) return std::nullopt;
        NSDictionary* info =
            CFBridgingRelease(CNCopyCurrentNetworkInfo((__bridge CFStringRef)name));
        if (info == nil) return std::nullopt;
        NetworkInfo entries;
        for (id key in info) {
          const std::optional<std::string> key_text = DescriptionText(key);
          if (!key_text) continue;
          id value = info[key];
          if ([value isKindOfClass:[NSData class]]) {
            NSData* data = value;
            entries[*key_text] = std::string(static_cast<const char*>(data.bytes), data.length);
          } else if (std::optional<std::string> text = DescriptionText(value)) {
            entries[*key_text] = *text;
          }
        }
        return entries;
      }
    });
  }
};

}  // namespace

CaptiveNetwork* NewCaptiveNetwork() { return new AppleCaptiveNetwork(); }

}  // namespace rqb::apple
