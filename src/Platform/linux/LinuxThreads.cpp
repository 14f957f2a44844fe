#include "Platform/linux/LinuxThreads.h"

#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <new>
#include <utility>

namespace rqb::detail {
namespace {

struct ThreadStart {
  char name[16];
  ThreadPriority priority;
  std::function<void()> body;
};

void* RunThread(void* argument) {
  const std::unique_ptr<ThreadStart> start(static_cast<ThreadStart*>(argument));
  pthread_setname_np(pthread_self(), start->name);
  if (start->priority == ThreadPriority::kBackground) {
    // On Linux the nice value belongs to the thread named by its kernel id.
    setpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid)), 19);
    // The thread started with its creator's priority, and may have taken the
    // creator's processor from it: give it back at once rather than at the
    // scheduler's next tick, milliseconds later.
    sched_yield();
  }
  start->body();
  return nullptr;
}

sigset_t AsynchronousSignals() {
  sigset_t signals;
  sigfillset(&signals);
  for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS}) {
    sigdelset(&signals, fault);
  }
  return signals;
}

}  // namespace

std::error_code StartLibraryThread(const char* name, ThreadPriority priority,
                                   std::function<void()> body) noexcept {
  auto* start = new (std::nothrow) ThreadStart{{}, priority, std::move(body)};
  if (start == nullptr) return std::make_error_code(std::errc::not_enough_memory);
  std::strncpy(start->name, name, sizeof start->name - 1);

  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
  // A new thread inherits the creator's signal mask: blocked from its first
  // instruction, with no window in which a signal could land on it.
  const sigset_t blocked = AsynchronousSignals();
  sigset_t previous;
  pthread_sigmask(SIG_BLOCK, &blocked, &previous);
  pthread_t thread;
  const int error = pthread_create(&thread, &attributes, &RunThread, start);
  pthread_sigmask(SIG_SETMASK, &previous, nullptr);
  pthread_attr_destroy(&attributes);
  if (error != 0) {
    delete start;
    return {error, std::generic_category()};
  }
  return {};
}

}  // namespace rqb::detail
