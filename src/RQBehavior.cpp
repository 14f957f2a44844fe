#include "RQBehavior/RQBehavior.h"

#include <utility>

#include "Managers/RQBIdentityManager.h"
#include "Managers/WorkInFlight.h"
#include "Platform/ForkGate.h"
#include "Platform/LogSink.h"
#include "Platform/MainQueue.h"
#include "Platform/Platform.h"
#include "Utils/Guarded.h"
#include "Utils/Text/Utf8.h"

namespace {

// The facade's settings, of which there is one set as there is one facade.
struct FacadeSettings {
  rqb::Guarded<std::optional<std::string>> app;
  rqb::Guarded<std::optional<double>> requestTimeout;
  rqb::Guarded<std::optional<std::string>> sessionId;
};

FacadeSettings& Settings() {
  return rqb::MakeOnce([] { return new FacadeSettings(); });
}

}  // namespace

RQBehavior& RQBehavior::shared() {
  return rqb::MakeOnce([] { return new RQBehavior(); });
}

RQBehavior& RQBehavior::getInstance(std::optional<std::string> app) {
  RQBehavior& instance = shared();
  instance.setApp(std::move(app));
  return instance;
}

void RQBehavior::collectDeviceInformation(std::optional<std::string> sessionId) {
  RQBIdentifyManager& manager = RQBIdentifyManager::getInstance();
  manager.setApp(app());
  // Kept before validation: the facade remembers even a refused identifier.
  setSessionId(sessionId);
  manager.setSessionId(std::move(sessionId));
  manager.collectDeviceInformation();
}

std::string RQBehavior::generateSessionId() {
  return RQBIdentifyManager::getInstance().generateSessionId();
}

void RQBehavior::setRequestTimeout(std::optional<double> requestTimeout) {
  Settings().requestTimeout.Store(requestTimeout);
  RQBIdentifyManager::getInstance().setRequestTimeout(requestTimeout);
}

std::size_t RQBehavior::drainMainQueue() { return rqb::CurrentPlatform().main_queue->Drain(); }

void RQBehavior::setLogHandler(std::function<void(const RQBLogMessage&)> handler) {
  if (!handler) {
    rqb::SetLogHandler(nullptr);
    return;
  }
  rqb::SetLogHandler([handler = std::move(handler)](std::string_view text,
                                                    const rqb::LogLinePrefix& prefix) {
    handler(RQBLogMessage{text, prefix.time, prefix.program, prefix.process_id, prefix.thread_id});
  });
}

bool RQBehavior::flush(std::chrono::milliseconds timeout) noexcept {
  // Inside the log handler, the work being logged cannot end before the
  // handler returns: waiting would only run out the time-out, holding up
  // the other completions meanwhile.
  if (rqb::InsideLogHandler()) timeout = std::chrono::milliseconds(0);
  return rqb::WorkInFlight::WaitForEarlierWork(timeout);
}

std::optional<std::string> RQBehavior::app() const { return Settings().app.Load(); }

void RQBehavior::setApp(std::optional<std::string> app) {
  Settings().app.Store(rqb::TextOrNil(std::move(app)));
}

std::optional<double> RQBehavior::requestTimeout() const {
  return Settings().requestTimeout.Load();
}

std::optional<std::string> RQBehavior::sessionId() const { return Settings().sessionId.Load(); }

void RQBehavior::setSessionId(std::optional<std::string> sessionId) {
  Settings().sessionId.Store(rqb::TextOrNil(std::move(sessionId)));
}
