#include "RQBehaviorObjCInterface.h"

#include <chrono>
#include <cmath>
#include <utility>

#include "RQBehavior/RQBehavior.h"
#include "Utils/Text/Utf8.h"

// Befriended by the facade: the Objective-C methods other than getInstance:
// use its instance without setting the application identifier.
class RQBehaviorObjCInterface {
 public:
  static RQBehavior& Facade() { return RQBehavior::shared(); }
};

namespace rqb::objc {
namespace {

std::optional<std::string> ToUtf8(const Text& text) {
  if (!text) return std::nullopt;
  return Utf16ToUtf8(*text);
}

Text ToText(const std::optional<std::string>& text) {
  if (!text) return std::nullopt;
  return Utf8ToUtf16(*text);
}

RQBehavior& Facade() { return RQBehaviorObjCInterface::Facade(); }

}  // namespace

void GetInstance(const Text& app) { RQBehavior::getInstance(ToUtf8(app)); }

std::optional<Refusal> CollectDeviceInformation(const Text& sessionId) {
  try {
    Facade().collectDeviceInformation(ToUtf8(sessionId));
    return std::nullopt;
  } catch (const RQBException& exception) {
    Refusal refusal;
    refusal.name = Utf8ToUtf16(exception.name());
    refusal.reason = Utf8ToUtf16(exception.reason().value_or(""));
    if (exception.name() == "NoSessionID") refusal.code = ErrorCode::kNoSessionId;
    return refusal;
  }
}

std::u16string GenerateSessionId() { return Utf8ToUtf16(Facade().generateSessionId()); }

void SetRequestTimeout(std::optional<double> seconds) { Facade().setRequestTimeout(seconds); }

std::optional<double> RequestTimeout() { return Facade().requestTimeout(); }

Text App() { return ToText(Facade().app()); }

void SetApp(const Text& app) { Facade().setApp(ToUtf8(app)); }

Text SessionId() { return ToText(Facade().sessionId()); }

void SetSessionId(const Text& sessionId) { Facade().setSessionId(ToUtf8(sessionId)); }

bool Flush(double seconds) noexcept {
  // Far beyond any wait a host means, and still a valid duration.
  constexpr double kLongestMilliseconds = 1e15;
  double milliseconds = seconds * 1000;
  if (std::isnan(milliseconds) || milliseconds < 0) milliseconds = 0;
  if (milliseconds > kLongestMilliseconds) milliseconds = kLongestMilliseconds;
  return RQBehavior::flush(std::chrono::milliseconds(static_cast<long long>(milliseconds)));
}

void SetLogHandler(std::function<void(std::u16string_view message)> handler) {
  if (!handler) {
    RQBehavior::setLogHandler(nullptr);
    return;
  }
  RQBehavior::setLogHandler([handler = std::move(handler)](const RQBLogMessage& message) {
    handler(Utf8ToUtf16(message.text));
  });
}

}  // namespace rqb::objc
