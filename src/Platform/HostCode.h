// Calling code of the host's (its log handler) from the library's threads.
#pragma once

#if defined(__GLIBCXX__)
#include <cxxabi.h>
#endif

namespace rqb {

// Runs `call` and drops what it throws; returns whether it returned. The
// unwinding of a thread that ends inside it (pthread_exit, pthread_cancel) is
// let through: with glibc and libstdc++ it unwinds as an exception, and a
// catch that swallows it aborts the process. Python ends threads that call
// into it while it shuts down this way.
//
// The forced unwinding has no object: the handler that lets it through binds
// its reference to nothing and never reads it, which the null check of the
// undefined-behaviour sanitizer would report.
template <typename Call>
__attribute__((no_sanitize("null"))) bool CallDroppingExceptions(Call&& call) {
  try {
    call();
    return true;
#if defined(__GLIBCXX__)
  } catch (const abi::__forced_unwind&) {
    throw;
#endif
  } catch (...) {
    return false;
  }
}

}  // namespace rqb
