#include "Platform/Platform.h"

#include <atomic>
#include <cassert>
#include <memory>
#include <mutex>
#include <utility>

#include "Platform/ForkGate.h"
#include "Platform/HostCode.h"
#include "Platform/LogSink.h"
#include "Platform/RevocableCallback.h"

namespace rqb {
namespace {

std::atomic<const Platform*> g_override{nullptr};

// How many log messages the calling thread is handing to a handler.
thread_local int t_handler_calls = 0;

// The host's log handler, replaced whole; revoking the one replaced waits for
// its calls under way on other threads.
using HostLogHandler = RevocableCallback<std::string_view, const LogLinePrefix&>;

class LogHandlerSlot {
 public:
  std::shared_ptr<HostLogHandler> Get() {
    std::lock_guard lock(mutex_);
    return handler_;
  }
  std::shared_ptr<HostLogHandler> Exchange(std::shared_ptr<HostLogHandler> handler) {
    std::lock_guard lock(mutex_);
    return std::exchange(handler_, std::move(handler));
  }

 private:
  ForkSafeMutex mutex_;
  std::shared_ptr<HostLogHandler> handler_;  // guarded by mutex_
};

// Never destroyed: a background thread may log while the process exits.
LogHandlerSlot& TheLogHandlerSlot() {
  return MakeOnce([] { return new LogHandlerSlot(); });
}

template <typename Provider>
void KeepUnset(Provider*& provider, Provider* fallback) {
  if (provider == nullptr) provider = fallback;
}

}  // namespace

const Platform& CurrentPlatform() {
  const Platform* platform = g_override.load(std::memory_order_acquire);
  return platform != nullptr ? *platform : DefaultPlatform();
}

ScopedPlatformOverride::ScopedPlatformOverride(const Platform& replacement)
    : platform_(replacement), previous_(g_override.load(std::memory_order_acquire)) {
  const Platform& current = CurrentPlatform();
  KeepUnset(platform_.log, current.log);
  KeepUnset(platform_.random, current.random);
  KeepUnset(platform_.background_queue, current.background_queue);
  KeepUnset(platform_.main_queue, current.main_queue);
  KeepUnset(platform_.url_sessions, current.url_sessions);
  KeepUnset(platform_.classes, current.classes);
  KeepUnset(platform_.operating_system, current.operating_system);
  KeepUnset(platform_.location, current.location);
  KeepUnset(platform_.calendar, current.calendar);
  KeepUnset(platform_.network_reachability, current.network_reachability);
  KeepUnset(platform_.notifications, current.notifications);
  KeepUnset(platform_.captive_network, current.captive_network);
  KeepUnset(platform_.telephony, current.telephony);
  KeepUnset(platform_.device, current.device);
  KeepUnset(platform_.accessibility, current.accessibility);
  KeepUnset(platform_.locale, current.locale);
  KeepUnset(platform_.library_bundle, current.library_bundle);
  KeepUnset(platform_.file_system, current.file_system);
  KeepUnset(platform_.preferences, current.preferences);
  KeepUnset(platform_.application, current.application);
  g_override.store(&platform_, std::memory_order_release);
}

ScopedPlatformOverride::~ScopedPlatformOverride() {
  assert(g_override.load() == &platform_ && "platform overrides must end in reverse order");
  g_override.store(previous_, std::memory_order_release);
}

void SetLogHandler(LogHandler handler) {
  std::shared_ptr<HostLogHandler> replacement;
  if (handler) {
    replacement = std::make_shared<HostLogHandler>(
        [handler = std::move(handler)](std::string_view message, const LogLinePrefix& prefix) {
          // What the host's handler throws is dropped: nowhere is left to report it.
          CallDroppingExceptions([&] { handler(message, prefix); });
        });
  }
  const std::shared_ptr<HostLogHandler> replaced =
      TheLogHandlerSlot().Exchange(std::move(replacement));
  if (replaced) replaced->Revoke();
}

bool InsideLogHandler() { return t_handler_calls > 0; }

void LogMessage(std::string_view message) {
  LogSink& sink = *CurrentPlatform().log;
  const struct HandlerCall {
    HandlerCall() { ++t_handler_calls; }
    ~HandlerCall() { --t_handler_calls; }
  } inside;
  bool handled = false;
  // Out of memory before the handler ran: the platform's log still takes it.
  CallDroppingExceptions([&] {
    // A handler revoked between Get() and Invoke() has just been replaced:
    // the message goes to its replacement.
    while (const std::shared_ptr<HostLogHandler> handler = TheLogHandlerSlot().Get()) {
      if (handler->Invoke(message, sink.LinePrefix())) {
        handled = true;
        return;
      }
    }
  });
  if (handled) return;
  sink.Write(message);
}

}  // namespace rqb
