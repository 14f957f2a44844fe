#include "RQBehavior/RQBehavior.h"

#include <utility>

#include "Managers/RQBIdentityManager.h"
#include "Managers/WorkInFlight.h"
#include "Platform/LogSink.h"
#include "Platform/MainQueue.h"
#include "Platform/Platform.h"
#include "Utils/Text/Utf8.h"

RQBehavior& RQBehavior::shared() {
  static RQBehavior* const instance = new RQBehavior();
  return *instance;
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
  {
    std::lock_guard lock(mutex_);
    requestTimeout_ = requestTimeout;
  }
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

std::optional<std::string> RQBehavior::app() const {
  std::lock_guard lock(mutex_);
  return app_;
}

void RQBehavior::setApp(std::optional<std::string> app) {
  app = rqb::TextOrNil(std::move(app));
  std::lock_guard lock(mutex_);
  app_ = std::move(app);
}

std::optional<double> RQBehavior::requestTimeout() const {
  std::lock_guard lock(mutex_);
  return requestTimeout_;
}

std::optional<std::string> RQBehavior::sessionId() const {
  std::lock_guard lock(mutex_);
  return sessionId_;
}

void RQBehavior::setSessionId(std::optional<std::string> sessionId) {
  sessionId = rqb::TextOrNil(std::move(sessionId));
  std::lock_guard lock(mutex_);
  sessionId_ = std::move(sessionId);
}
