// What the device says about itself, through UIDevice, and its hardware
// machine name through sysctl. Read from the collection thread as it is.
#import <UIKit/UIKit.h>
#include <sys/sysctl.h>
#include <sys/types.h>

#include "Platform/Device.h"
#include "Platform/apple/AppleBridge.h"
#include "Platform/apple/AppleProviders.h"

namespace rqb::apple {
namespace {

// `reading` of the current device, with the platform's exceptions converted.
template <typename Reading>
decltype(auto) Read(Reading&& reading) {
  return CallPlatform([&]() -> decltype(auto) {
    @autoreleasepool {
      return reading(UIDevice.currentDevice);
    }
  });
}

class AppleDevice final : public Device {
 public:
  std::optional<std::string> SystemName() const override {
    return Read([](UIDevice* device) { return ToText(device.systemName); });
  }
  std::optional<std::string> SystemVersion() const override {
    return Read([](UIDevice* device) { return ToText(device.systemVersion); });
  }
  // From iOS 16 the model's generic name ("iPhone"), unless the host holds
  // the user-assigned device name entitlement.
  std::optional<std::string> Name() const override {
    return Read([](UIDevice* device) { return ToText(device.name); });
  }
  std::optional<std::string> IdentifierForVendor() const override {
    return Read([](UIDevice* device) { return ToText(device.identifierForVendor.UUIDString); });
  }

  bool IsBatteryMonitoringEnabled() const override {
    return Read([](UIDevice* device) { return device.batteryMonitoringEnabled == YES; });
  }
  void SetBatteryMonitoringEnabled(bool enabled) override {
    Read([enabled](UIDevice* device) { device.batteryMonitoringEnabled = enabled; });
  }
  long BatteryState() const override {
    return Read([](UIDevice* device) { return static_cast<long>(device.batteryState); });
  }
  float BatteryLevel() const override {
    return Read([](UIDevice* device) { return device.batteryLevel; });
  }

  int QueryMachineName(char* buffer, std::size_t* length) const override {
    int name[] = {CTL_HW, HW_MACHINE};
    return sysctl(name, 2, buffer, length, nullptr, 0);
  }
};

}  // namespace

Device* NewDevice() { return new AppleDevice(); }

}  // namespace rqb::apple
