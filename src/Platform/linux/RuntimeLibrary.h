// System libraries that the Linux providers load when they first need them,
// not when the host starts: libcurl, OpenSSL's libcrypto and libsystemd.
// Every one of them is linked with immediate binding, so linking them would
// make every host pay their symbol lookups at start-up, used or not.
#pragma once

#include <atomic>
#include <mutex>
#include <string>

namespace rqb {

// The libraries loaded at run time.
enum class RuntimeLibraryId { kCrypto, kCurl, kSystemd };

// One shared object opened with dlopen(RTLD_NOW | RTLD_LOCAL) and never
// closed: the function pointers taken from it stay valid for the life of the
// process, whatever thread still uses them while it exits. Open it inside a
// LibrarySection (LoadOnce does).
class RuntimeLibrary {
 public:
  explicit RuntimeLibrary(const char* soname);

  // Sets `function` to the library's `symbol`, or records why it cannot.
  // `Function` is the function's own type, taken from the library's header,
  // so that a call through the pointer is checked like a direct call.
  template <typename Function>
  void Resolve(Function*& function, const char* symbol) {
    function = reinterpret_cast<Function*>(Address(symbol));
  }

  // Whether the library and every symbol asked for were found.
  bool ok() const { return error_.empty(); }
  // Why not, e.g. "libcurl.so.4: cannot open shared object file".
  const std::string& error() const { return error_; }

 private:
  void* Address(const char* symbol);

  void* handle_ = nullptr;
  std::string error_;
};

// Held by a library thread while it runs code that neither fork(2) nor exit()
// may cut off: the loading of a library (a child forked meanwhile would
// inherit the loader's lock, held by a thread it does not have, and hang in
// its own first load), and calls into OpenSSL, directly or through libcurl.
// A section holds a ForkGuard, so fork waits for the sections under way. From
// the exit handler of CloseLibrarySectionsAtExit() on, no section starts
// again, and exit waits for those under way: as long as such a step takes,
// microseconds in OpenSSL, milliseconds for a library's loading, longer only
// while a system call inside it stalls. Host threads never take one: they
// would wait for ever once exit has begun. Sections do not nest.
class LibrarySection {
 public:
  LibrarySection();
  ~LibrarySection();
  LibrarySection(const LibrarySection&) = delete;
  LibrarySection& operator=(const LibrarySection&) = delete;

  struct Gate;

 private:
  Gate& gate_;
};

// Registers an exit handler that closes the gate of LibrarySection for good:
// no section starts from then on, and exit waits for those under way. The
// gate closes once, whichever registration runs first. Exit handlers run
// last registered first, so this is registered when the platform is made
// (on the host's first call, after any OpenSSL initialisation of the host's
// before it) and again once the library has initialised OpenSSL, after any
// exit handler OpenSSL has registered meanwhile.
void CloseLibrarySectionsAtExit();

// A library's functions, loaded inside a LibrarySection and kept for the life
// of the process once a load succeeds. A load that fails (nullptr) is tried
// again at the next call: a shortage of descriptors or memory passes, and a
// library that is truly absent costs one failed load per call. Concurrent
// first calls load once. Constant-initialised, so that no guard of a static
// is ever copied by fork half-taken. `T` is a pointer to what was loaded
// (never destroyed).
template <typename T>
class LoadOnce {
 public:
  constexpr LoadOnce() = default;

  template <typename Load>
  T Get(Load&& load) {
    if (T loaded = value_.load(std::memory_order_acquire)) return loaded;
    const LibrarySection no_fork_meanwhile;
    const std::lock_guard lock(mutex_);
    T loaded = value_.load(std::memory_order_relaxed);
    if (loaded == nullptr) {
      loaded = load();
      value_.store(loaded, std::memory_order_release);
    }
    return loaded;
  }

 private:
  std::atomic<T> value_{nullptr};  // what a successful load gave
  std::mutex mutex_;
};

// For tests: while one lives, the library `id` reads as one that cannot be
// loaded, so that the readings that need it give their fallbacks. Loading
// itself is not undone: a library already in use stays in use by whoever
// holds its functions.
class ScopedUnloadableLibrary {
 public:
  explicit ScopedUnloadableLibrary(RuntimeLibraryId id);
  ~ScopedUnloadableLibrary();
  ScopedUnloadableLibrary(const ScopedUnloadableLibrary&) = delete;
  ScopedUnloadableLibrary& operator=(const ScopedUnloadableLibrary&) = delete;

  // Whether a test has made `id` unloadable.
  static bool Active(RuntimeLibraryId id);

 private:
  const RuntimeLibraryId id_;
};

}  // namespace rqb
