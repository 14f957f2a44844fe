#include "Platform/linux/RuntimeLibrary.h"

#include <dlfcn.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <shared_mutex>

#include "Platform/ForkGate.h"
#include "Platform/PerProcess.h"

namespace rqb {

// Closed for good once exit() has begun.
struct LibrarySection::Gate {
  std::shared_mutex sections;  // shared by the sections under way
  std::atomic<bool> closed{false};
};

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

PerProcess<LibrarySection::Gate>& TheGate() {
  // Never destroyed: used inside exit().
  static auto* const gate = new PerProcess<LibrarySection::Gate>();
  return *gate;
}

// A thread that would start a section once exit() has begun waits here until
// the process ends.
[[noreturn]] void WaitForTheEnd() {
  for (;;) pause();
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

LibrarySection::LibrarySection() : gate_(TheGate().Get()) {
  // The exit gate first: a thread that waits there for ever, once exit has
  // begun, holds nothing that fork() waits for.
  gate_.sections.lock_shared();
  if (gate_.closed.load(std::memory_order_acquire)) {
    gate_.sections.unlock_shared();
    WaitForTheEnd();
  }
  ForkGuard::Enter();
}

LibrarySection::~LibrarySection() {
  ForkGuard::Leave();
  gate_.sections.unlock_shared();
}

void CloseLibrarySectionsAtExit() {
  std::atexit(+[] {
    LibrarySection::Gate& gate = TheGate().Get();
    if (gate.closed.exchange(true, std::memory_order_acq_rel)) return;
    // No section starts from now on; taken for good once every section under
    // way has ended. Not bounded: a section that went on after exit had gone
    // ahead could find OpenSSL's state freed by its exit handler.
    gate.sections.lock();
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
