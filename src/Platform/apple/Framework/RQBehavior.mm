// The Objective-C class RQBehavior. Each method converts its arguments,
// calls the facade's shared C++ (RQBehaviorObjCInterface.h) and converts
// back; what the class does beyond that is decided there.
#import <RQBehavior/RQBehavior.h>

#include <optional>
#include <string>
#include <string_view>

#include "RQBehaviorObjCInterface.h"

static_assert(static_cast<NSInteger>(rqb::objc::ErrorCode::kNoSessionId) ==
              RQBErrorCodeNoSessionID);

namespace {

rqb::objc::Text ToText(NSString* string) {
  if (string == nil) return std::nullopt;
  std::u16string units(string.length, u'\0');
  [string getCharacters:reinterpret_cast<unichar*>(units.data())
                  range:NSMakeRange(0, units.size())];
  return units;
}

NSString* ToNSString(std::u16string_view units) {
  return [NSString stringWithCharacters:reinterpret_cast<const unichar*>(units.data())
                                 length:units.size()];
}

NSString* ToNSStringOrNil(const rqb::objc::Text& text) { return text ? ToNSString(*text) : nil; }

}  // namespace

@implementation RQBehavior

+ (RQBehavior*)getInstance:(NSString*)app {
  static RQBehavior* shared;
  static dispatch_once_t once;
  dispatch_once(&once, ^{
    shared = [[RQBehavior alloc] init];
  });
  rqb::objc::GetInstance(ToText(app));
  return shared;
}

- (void)collectDeviceInformation:(NSString*)sessionId {
  if (std::optional<rqb::objc::Refusal> refusal =
          rqb::objc::CollectDeviceInformation(ToText(sessionId))) {
    [NSException raise:ToNSString(refusal->name) format:@"%@", ToNSString(refusal->reason)];
  }
}

- (BOOL)collectDeviceInformation:(NSString*)sessionId error:(NSError**)error {
  std::optional<rqb::objc::Refusal> refusal =
      rqb::objc::CollectDeviceInformation(ToText(sessionId));
  if (refusal && error != nullptr) {
    *error = [NSError errorWithDomain:RQ_BEHAVIOR_ERROR_DOMAIN
                                 code:static_cast<NSInteger>(refusal->code)
                             userInfo:@{NSLocalizedDescriptionKey : ToNSString(refusal->reason)}];
  }
  return !refusal;
}

- (NSString*)generateSessionId {
  return ToNSString(rqb::objc::GenerateSessionId());
}

- (void)setRequestTimeout:(NSNumber*)requestTimeout {
  std::optional<double> seconds;
  if (requestTimeout != nil) seconds = requestTimeout.doubleValue;
  rqb::objc::SetRequestTimeout(seconds);
}

- (NSNumber*)requestTimeout {
  const std::optional<double> seconds = rqb::objc::RequestTimeout();
  return seconds ? @(*seconds) : nil;
}

- (NSString*)app {
  return ToNSStringOrNil(rqb::objc::App());
}

- (void)setApp:(NSString*)app {
  rqb::objc::SetApp(ToText(app));
}

- (NSString*)sessionId {
  return ToNSStringOrNil(rqb::objc::SessionId());
}

- (void)setSessionId:(NSString*)sessionId {
  rqb::objc::SetSessionId(ToText(sessionId));
}

+ (BOOL)flushWithTimeout:(NSTimeInterval)timeout {
  return rqb::objc::Flush(timeout);
}

+ (void)setLogHandler:(void (^)(NSString*))handler {
  if (handler == nil) {
    rqb::objc::SetLogHandler(nullptr);
    return;
  }
  void (^copied)(NSString*) = [handler copy];
  rqb::objc::SetLogHandler([copied](std::u16string_view message) {
    @autoreleasepool {
      copied(ToNSString(message));
    }
  });
}

@end
