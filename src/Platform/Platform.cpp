#include "Platform/Platform.h"

#include <atomic>
#include <cassert>

#include "Platform/LogSink.h"

namespace rqb {
namespace {

std::atomic<const Platform*> g_override{nullptr};

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

void LogMessage(std::string_view message) { CurrentPlatform().log->Write(message); }

}  // namespace rqb
