#include "Platform/apple/AppleBridge.h"

namespace rqb::apple {

NSString* ToNSString(std::string_view text) {
  return [[NSString alloc] initWithBytes:text.data()
                                  length:text.size()
                                encoding:NSUTF8StringEncoding];
}

std::optional<std::string> ToText(NSString* string) {
  if (string == nil) return std::nullopt;
  const char* utf8 = string.UTF8String;
  if (utf8 == nullptr) return std::nullopt;
  return std::string(utf8, [string lengthOfBytesUsingEncoding:NSUTF8StringEncoding]);
}

std::optional<std::string> DescriptionText(id object) {
  if (object == nil) return std::nullopt;
  if ([object isKindOfClass:[NSString class]]) return ToText(object);
  return ToText([object description]);
}

NSDate* ToNSDate(std::chrono::system_clock::time_point time) {
  const std::chrono::duration<double> since_epoch = time.time_since_epoch();
  return [NSDate dateWithTimeIntervalSince1970:since_epoch.count()];
}

std::chrono::system_clock::time_point ToTimePoint(NSDate* date) {
  const std::chrono::duration<double> since_epoch(date.timeIntervalSince1970);
  return std::chrono::system_clock::time_point(
      std::chrono::duration_cast<std::chrono::system_clock::duration>(since_epoch));
}

RQBException ToRQBException(NSException* exception) {
  return RQBException(ToText(exception.name).value_or(""), ToText(exception.reason));
}

}  // namespace rqb::apple
