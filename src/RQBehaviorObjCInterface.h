// The facade as the Objective-C class RQBehavior presents it, in plain C++:
// texts are UTF-16 code units as an NSString holds them, nil is
// std::nullopt, and the library's exception comes back as a Refusal for the
// caller to raise (NSException) or report (NSError) on its own thread. Each
// Objective-C method copies its arguments into these types, calls one
// function here and turns the result back; everything else (the facade's
// steps, the shared state, what a refusal says) is here and in the C++
// facade, which is the same process-wide object. No Objective-C and no
// system header: the Linux suite tests it.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace rqb::objc {

// An NSString's code units, or nil.
using Text = std::optional<std::u16string>;

// Codes of the NSError that reports a refusal, in RQ_BEHAVIOR_ERROR_DOMAIN.
enum class ErrorCode : long {
  kOther = 0,
  kNoSessionId = 1,  // "NoSessionID"
};

// The library's exception, for the Objective-C caller to raise or report.
struct Refusal {
  std::u16string name;    // e.g. "NoSessionID"
  std::u16string reason;  // e.g. the text of UNDEFINED_SESSION_ID_ERR_MESSAGE
  ErrorCode code = ErrorCode::kOther;
};

// +getInstance: after the Objective-C instance exists: names the host
// application, nil included.
void GetInstance(const Text& app);

// -collectDeviceInformation: with the facade's steps: the manager takes the
// current app, the facade keeps `sessionId` (refused or not), the manager
// validates it and a run is scheduled. A refused identifier schedules
// nothing and comes back as the refusal.
std::optional<Refusal> CollectDeviceInformation(const Text& sessionId);

std::u16string GenerateSessionId();

// Stores the host's time-out and forwards it; uploads keep 10 seconds.
void SetRequestTimeout(std::optional<double> seconds);
std::optional<double> RequestTimeout();

// The plain accessors: the setters store only. A text holding a lone
// surrogate has no UTF-8 form and is stored as nil.
Text App();
void SetApp(const Text& app);
Text SessionId();
void SetSessionId(const Text& sessionId);

// Waits up to `seconds` (NaN or less than 0 count as 0) for the runs and
// uploads started before the call; true when they have all finished.
bool Flush(double seconds) noexcept;

// Hands each later log message to `handler` as UTF-16 instead of the
// platform's log; an empty handler restores the log. Same threads and
// guarantees as RQBehavior::setLogHandler.
void SetLogHandler(std::function<void(std::u16string_view message)> handler);

}  // namespace rqb::objc
