// System libraries that the Linux providers load when they first need them,
// not when the host starts: libcurl, OpenSSL's libcrypto and libsystemd.
// Every one of them is linked with immediate binding, so linking them would
// make every host pay their symbol lookups at start-up, used or not.
#pragma once

#include <atomic>
#include <string>

namespace rqb {

// The libraries loaded at run time.
enum class RuntimeLibraryId { kCrypto, kCurl, kSystemd };

// One shared object opened with dlopen(RTLD_NOW | RTLD_LOCAL) and never
// closed: the function pointers taken from it stay valid for the life of the
// process, whatever thread still uses them while it exits.
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
