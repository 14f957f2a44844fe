#include "Platform/ForkGate.h"

#include <pthread.h>

#include <condition_variable>

#include "Platform/PerProcess.h"

namespace rqb {
namespace {

// Shared by the guards, taken whole by fork(). A fork that waits goes first:
// no guard starts meanwhile, so that threads entering one after another
// cannot hold a host's fork() off for long.
class Gate {
 public:
  void Enter() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return !forking_; });
    ++guards_;
  }

  void Leave() {
    std::lock_guard lock(mutex_);
    if (--guards_ == 0) changed_.notify_all();
  }

  // Returns once no guard is held, with none allowed to start.
  void Close() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return !forking_; });
    forking_ = true;
    changed_.wait(lock, [&] { return guards_ == 0; });
  }

  void Open() {
    std::lock_guard lock(mutex_);
    forking_ = false;
    changed_.notify_all();
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  int guards_ = 0;        // guarded by mutex_
  bool forking_ = false;  // guarded by mutex_
};

PerProcess<Gate>& TheGate() {
  static auto* const gate = new PerProcess<Gate>();
  return *gate;
}

// The calling thread's guards, and the gate the outermost one entered.
thread_local int t_guards = 0;
thread_local Gate* t_entered = nullptr;
// The gate the calling thread closed for its fork().
thread_local Gate* t_closed = nullptr;

void CloseForFork() {
  if (t_guards > 0) return;  // a guard's holder forks: waiting would never end
  t_closed = &TheGate().Get();
  t_closed->Close();
}

void OpenInParent() {
  if (t_closed != nullptr) t_closed->Open();
  t_closed = nullptr;
}

// The child's first guard makes a gate of its own (PerProcess): the copy of
// the parent's stays closed, and its condition is never used again.
void ForgetInChild() { t_closed = nullptr; }

// Registered when the library is loaded, before it starts any thread, and
// after the fork counter's handler (the gate's first Get() registers that):
// in the child, handlers run in the order they were registered.
[[maybe_unused]] const bool g_forks_wait_for_guards = [] {
  TheGate().Get();
  return pthread_atfork(&CloseForFork, &OpenInParent, &ForgetInChild) == 0;
}();

}  // namespace

void ForkGuard::Enter() {
  if (t_guards == 0) {
    Gate& gate = TheGate().Get();
    gate.Enter();
    t_entered = &gate;
  }
  ++t_guards;
}

void ForkGuard::Leave() {
  if (--t_guards == 0) {
    t_entered->Leave();
    t_entered = nullptr;
  }
}

}  // namespace rqb
