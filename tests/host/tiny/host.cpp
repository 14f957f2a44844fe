// Uses every part of the C++ interface that needs no network: the facade,
// the exception (thrown inside the library, caught here by type), a constant
// and the log handler. Prints "ok" and exits 0, or says what failed.
#include <RQBehavior/RQBehavior.h>

#include <cstdio>
#include <cstring>

static int Fail(const char* what) {
  std::printf("tiny host: %s\n", what);
  return 1;
}

int main() {
  RQBehavior& behavior = RQBehavior::getInstance("tiny-host");
  if (behavior.app() != "tiny-host") return Fail("app not kept");
  if (behavior.generateSessionId().size() != 36) return Fail("no session identifier");
  if (std::strcmp(RQBVARPlatform, "Platform") != 0) return Fail("constants wrong");
  RQBehavior::setLogHandler([](const RQBLogMessage&) {});
  RQBehavior::setLogHandler(nullptr);
  try {
    behavior.collectDeviceInformation("12345");
    return Fail("short session identifier accepted");
  } catch (const RQBException& exception) {
    if (exception.name() != "NoSessionID") return Fail("wrong exception");
  }
  std::puts("ok");
  return 0;
}
