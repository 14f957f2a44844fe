#include "Platform/linux/RuntimeLibrary.h"

#include <dlfcn.h>

#include <array>
#include <cstdlib>

#include "Platform/ForkGate.h"
#include "Platform/PerProcess.h"

namespace rqb {
namespace {

std::array<std::atomic<int>, 3> g_unloadable{};

std::atomic<int>& UnloadableCount(RuntimeLibraryId id) {
  return g_unloadable[static_cast<std::size_t>(id)];
}

// dlerror() keeps its text per thread, but between two calls of one thread
// only: taken under a lock, the text cannot be another open's.
std::mutex g_dlerror_mutex;

std::string LastDlError(const char* what) {
  const char* text = dlerror();
  return text != nullptr ? std::string(text) : std::string(what) + ": not found";
}

// Closed for good once exit() has begun.
struct Gate {
  std::shared_mutex sections;
};

PerProcess<Gate>& TheGate() {
  static auto* const gate = new PerProcess<Gate>();  // never destroyed: used inside exit()
  return *gate;
}

}  // namespace

RuntimeLibrary::RuntimeLibrary(const char* soname) {
  const std::lock_guard lock(g_dlerror_mutex);
  handle_ = dlopen(soname, RTLD_NOW | RTLD_LOCAL);
  if (handle_ == nullptr) error_ = LastDlError(soname);
}

void* RuntimeLibrary::Address(const char* symbol) {
  if (handle_ == nullptr) return nullptr;
  const std::lock_guard lock(g_dlerror_mutex);
  dlerror();
  void* address = dlsym(handle_, symbol);
  if (address == nullptr && error_.empty()) error_ = LastDlError(symbol);
  return address;
}

LibrarySection::LibrarySection() : gate_(TheGate().Get().sections) {
  // The exit gate first: a thread that waits there for ever, once exit has
  // begun, holds nothing that fork() waits for.
  gate_.lock_shared();
  ForkGuard::Enter();
}

LibrarySection::~LibrarySection() {
  ForkGuard::Leave();
  gate_.unlock_shared();
}

void CloseLibrarySectionsAtExit() {
  static std::atomic<bool> closed{false};
  std::atexit(+[] {
    if (!closed.exchange(true)) TheGate().Get().sections.lock();
  });
}

ScopedUnloadableLibrary::ScopedUnloadableLibrary(RuntimeLibraryId id) : id_(id) {
  UnloadableCount(id_).fetch_add(1, std::memory_order_relaxed);
}

ScopedUnloadableLibrary::~ScopedUnloadableLibrary() {
  UnloadableCount(id_).fetch_sub(1, std::memory_order_relaxed);
}

bool ScopedUnloadableLibrary::Active(RuntimeLibraryId id) {
  return UnloadableCount(id).load(std::memory_order_relaxed) > 0;
}

}  // namespace rqb
