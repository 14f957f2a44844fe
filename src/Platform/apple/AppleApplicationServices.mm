// The advertising identifier (AdSupport), in-app payments (StoreKit) and URL
// handlers (UIApplication).
#import <AdSupport/AdSupport.h>
#import <StoreKit/StoreKit.h>
#import <UIKit/UIKit.h>

#include "Platform/ApplicationServices.h"
#include "Platform/apple/AppleBridge.h"
#include "Platform/apple/AppleProviders.h"

namespace rqb::apple {
namespace {

class AppleApplicationServices final : public ApplicationServices {
 public:
  // All zeros from iOS 14.5 unless the user allowed tracking; the library
  // never asks.
  std::optional<std::string> AdvertisingIdentifier() const override {
    return CallPlatform([] {
      @autoreleasepool {
        return ToText([ASIdentifierManager sharedManager].advertisingIdentifier.UUIDString);
      }
    });
  }

  bool CanMakePayments() const override {
    return CallPlatform([] { return [SKPaymentQueue canMakePayments] == YES; });
  }

  // Asked on the calling thread, as the jailbreak collector asks it. The
  // system wants this on the main thread and answers no for schemes missing
  // from the host's LSApplicationQueriesSchemes; the collection run never
  // reaches that collector.
  bool CanOpenUrl(const std::string& url) const override {
    return CallPlatform([&] {
      @autoreleasepool {
        NSString* text = ToNSString(url);
        NSURL* platform_url = text != nil ? [NSURL URLWithString:text] : nil;
        return platform_url != nil &&
               [[UIApplication sharedApplication] canOpenURL:platform_url] == YES;
      }
    });
  }
};

}  // namespace

ApplicationServices* NewApplicationServices() { return new AppleApplicationServices(); }

}  // namespace rqb::apple
