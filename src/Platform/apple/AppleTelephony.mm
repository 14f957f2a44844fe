// The cellular subscriptions through CoreTelephony: a new
// CTTelephonyNetworkInfo per reading, and its carrier per service. From
// iOS 16 the system hands out placeholder carrier values.
#import <CoreTelephony/CTCarrier.h>
#import <CoreTelephony/CTTelephonyNetworkInfo.h>

#include "Platform/Telephony.h"
#include "Platform/apple/AppleBridge.h"
#include "Platform/apple/AppleProviders.h"

namespace rqb::apple {
namespace {

class AppleTelephony final : public Telephony {
 public:
  std::optional<CarrierDictionary> ServiceSubscriberCellularProviders() override {
    return CallPlatform([]() -> std::optional<CarrierDictionary> {
      @autoreleasepool {
        CTTelephonyNetworkInfo* network_info = [[CTTelephonyNetworkInfo alloc] init];
        NSDictionary<NSString*, CTCarrier*>* providers =
            network_info.serviceSubscriberCellularProviders;
        if (providers == nil) return std::nullopt;
        CarrierDictionary carriers;
        for (NSString* service in providers) {
          CTCarrier* carrier = providers[service];
          carriers.emplace_back(ToText(service).value_or(""),
                                Carrier{ToText(carrier.carrierName), carrier.allowsVOIP == YES});
        }
        return carriers;
      }
    });
  }
};

}  // namespace

Telephony* NewTelephony() { return new AppleTelephony(); }

}  // namespace rqb::apple
