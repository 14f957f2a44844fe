// The platform log: NSLog writes the line, with its time stamp, program and
// thread, to the system log and to stderr.
#include "Platform/LogSink.h"
#include "Platform/apple/AppleBridge.h"
#include "Platform/apple/AppleProviders.h"

namespace rqb::apple {
namespace {

class AppleLogSink final : public LogSink {
 public:
  void Write(std::string_view message) override {
    @autoreleasepool {
      NSString* text = ToNSString(message);
      // A message that is not UTF-8 is still logged, byte for byte.
      if (text == nil) {
        text = [[NSString alloc] initWithBytes:message.data()
                                        length:message.size()
                                      encoding:NSISOLatin1StringEncoding];
      }
      NSLog(@"%@", text);
    }
  }
};

}  // namespace

LogSink* NewLogSink() { return new AppleLogSink(); }

}  // namespace rqb::apple
