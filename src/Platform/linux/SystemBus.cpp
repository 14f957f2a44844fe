#include "Platform/linux/SystemBus.h"

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "Platform/RunReadings.h"
#include "Platform/linux/RuntimeLibrary.h"
#include "Platform/linux/RuntimeSonames.h"

namespace rqb {
namespace {

// The connection not lent out, and the process that made it. Swapped whole
// and without a lock, so that fork() can never find it half-taken.
struct IdleConnection {
  sd_bus* bus;
  pid_t owner;
};
std::atomic<IdleConnection*> g_idle{nullptr};

constinit LoadOnce<const SdBusFunctions*> g_sd_bus;

const SdBusFunctions* LoadSdBus() {
  RuntimeLibrary library(RQB_LIBSYSTEMD_SONAME);
  auto functions = std::make_unique<SdBusFunctions>();
#define RQB_RESOLVE(member, symbol) library.Resolve(functions->member, #symbol);
  RQB_SD_BUS_FUNCTIONS(RQB_RESOLVE)
#undef RQB_RESOLVE
  return library.ok() ? functions.release() : nullptr;  // never destroyed
}

// Whether the bus's socket is known not to exist. sd-bus makes a socket and
// sizes its buffers before it tries to connect; when the address is a plain
// path that is not there, the attempt would fail all the same.
bool BusSocketIsMissing() {
  const char* address = std::getenv("DBUS_SYSTEM_BUS_ADDRESS");
  std::string_view path = "/run/dbus/system_bus_socket";
  if (address != nullptr) {
    constexpr std::string_view kPlainPath = "unix:path=";
    const std::string_view text(address);
    // Several addresses, options or escapes: left to sd-bus.
    if (!text.starts_with(kPlainPath) || text.find_first_of(",;%") != std::string_view::npos) {
      return false;
    }
    path = text.substr(kPlainPath.size());
  }
  struct stat info {};
  return stat(std::string(path).c_str(), &info) != 0 && errno == ENOENT;
}

void Close(const SdBusFunctions& sd, IdleConnection* idle) {
  if (idle->owner == getpid()) {
    sd.flush_close_unref(idle->bus);
  } else {
    // The parent's: releasing it here only closes the child's descriptor.
    sd.unref(idle->bus);
  }
  delete idle;
}

// Deals with whatever came unasked since the last use (a late reply, a
// signal, a call from a peer), so that nothing piles up in a connection kept
// for months, and learns of a hang-up. Whether the connection is usable.
bool Refresh(const SdBusFunctions& sd, sd_bus* bus) {
  while (sd.process(bus, nullptr) > 0) {
  }
  return sd.is_open(bus) > 0;
}

}  // namespace

const SdBusFunctions* SdBus() {
  const SdBusFunctions* const functions = g_sd_bus.Get([] { return LoadSdBus(); });
  if (ScopedUnloadableLibrary::Active(RuntimeLibraryId::kSystemd)) return nullptr;
  return functions;
}

SystemBusLease::SystemBusLease(std::uint64_t call_timeout_usec) {
  // Without a kept connection, libsystemd is not loaded for a bus that is
  // not there.
  if (g_idle.load() == nullptr &&
      RunReadings::Shared<bool>(&g_idle, [] { return BusSocketIsMissing(); })) {
    return;
  }
  sd_ = SdBus();
  if (sd_ == nullptr) return;
  IdleConnection* idle = g_idle.exchange(nullptr);
  if (idle != nullptr && idle->owner == getpid() && Refresh(*sd_, idle->bus)) {
    bus_ = idle->bus;
    delete idle;
  } else {
    // Gone (a restarted bus daemon), or made before fork(): a new one.
    if (idle != nullptr) Close(*sd_, idle);
    if (BusSocketIsMissing() || sd_->open_system(&bus_) < 0) bus_ = nullptr;
  }
  if (bus_ != nullptr) sd_->set_method_call_timeout(bus_, call_timeout_usec);
}

SystemBusLease::~SystemBusLease() {
  if (bus_ == nullptr) return;
  auto* idle = new IdleConnection{bus_, getpid()};
  IdleConnection* empty = nullptr;
  if (sd_->is_open(bus_) <= 0 || !g_idle.compare_exchange_strong(empty, idle)) Close(*sd_, idle);
}

}  // namespace rqb
