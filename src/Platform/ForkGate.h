// Keeps fork(2) out of the library's critical sections.
//
// A child of a multi-threaded process has only the thread that forked. A lock
// another thread held at the fork stays held in the child for good, and the
// state it guarded may be half-changed; so do the locks that the libraries
// we call take inside (ICU's, OpenSSL's, the loader's). So every critical
// section of the library, on the library's threads and on the host's, holds
// a ForkGuard, and fork() waits until no thread holds one: the child starts
// with every lock free and every guarded state whole.
#pragma once

#include <atomic>
#include <mutex>
#include <type_traits>

namespace rqb {

// While one lives on a thread, a fork() on another thread waits for it to
// end. Recursive on one thread. Held only briefly, and never around a call of
// the host's code (its log handler), which may fork itself or block: a fork
// on a thread that holds a guard goes ahead without waiting.
class ForkGuard {
 public:
  ForkGuard() { Enter(); }
  ~ForkGuard() { Leave(); }
  ForkGuard(const ForkGuard&) = delete;
  ForkGuard& operator=(const ForkGuard&) = delete;

  // The same, for a guard that does not live in one scope.
  static void Enter();
  static void Leave();
};

// A mutex whose holder holds a ForkGuard, so that a forked child never finds
// it locked nor what it guards half-changed. For std::lock_guard and
// std::unique_lock; not for condition variables.
class ForkSafeMutex {
 public:
  void lock() {
    ForkGuard::Enter();
    mutex_.lock();
  }
  void unlock() {
    mutex_.unlock();
    ForkGuard::Leave();
  }

 private:
  std::mutex mutex_;
};

// The object that `make` returns (a pointer to a new one), made on the first
// call and never destroyed. `make` is a lambda: each lambda is a type of its
// own, so each call site has its own object. The making holds a
// ForkGuard: a child forked while another thread made it would otherwise
// wait for ever on the initialisation of a static.
template <typename Make>
auto& MakeOnce(Make make) {
  using Object = std::remove_pointer_t<decltype(make())>;
  static std::atomic<Object*> made{nullptr};
  if (Object* const object = made.load(std::memory_order_acquire)) return *object;
  const ForkGuard no_fork_meanwhile;
  static Object* const object = make();
  made.store(object, std::memory_order_release);
  return *object;
}

}  // namespace rqb
