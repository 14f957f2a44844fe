// The platform log: NSLog writes the line, with its time stamp, program and
// thread, to the system log and to stderr.
#include <pthread.h>
#include <unistd.h>

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

  // What NSLog puts before a message: the time, the process's name, its id
  // and the calling thread's system-wide id.
  LogLinePrefix LinePrefix() override {
    @autoreleasepool {
      LogLinePrefix prefix;
      prefix.time = std::chrono::system_clock::now();
      prefix.program = ToText([NSProcessInfo processInfo].processName).value_or("");
      prefix.process_id = static_cast<long>(getpid());
      std::uint64_t thread_id = 0;
      pthread_threadid_np(nullptr, &thread_id);
      prefix.thread_id = static_cast<long>(thread_id);
      return prefix;
    }
  }
};

}  // namespace

LogSink* NewLogSink() { return new AppleLogSink(); }

}  // namespace rqb::apple
