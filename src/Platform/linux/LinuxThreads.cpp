#include "Platform/linux/LinuxThreads.h"

#include <link.h>
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

// Each library thread's stack, set here rather than taken from the process's
// default, which follows RLIMIT_STACK: 8 MiB on most systems, 32 MiB or more
// under a large or unlimited `ulimit -s`. The library's code uses less than
// 16 KiB of it (a run over the system bus, an upload verified against the
// system's CA store); the rest is room for a host's log handler, which runs on
// these threads. Untouched stack costs no memory, but it costs address space,
// which a host under RLIMIT_AS needs for its allocator's arenas.
constexpr std::size_t kStackBytes = std::size_t{512} << 10;
// A function whose frame is larger than the guard can step over it into the
// mapping below instead of faulting; not every system library is built with
// stack probes. The guard is address space only.
constexpr std::size_t kGuardBytes = std::size_t{64} << 10;

// glibc keeps a thread's share of the modules' thread-local storage in its
// stack mapping, out of the size asked for: a host with large thread_local
// objects, or a sanitizer's run-time (hundreds of KiB), would leave the stack
// too small, or refuse the thread. Counted once, over the modules loaded by
// then, which can only overestimate what the initial ones take.
std::size_t ThreadLocalStorageBytes() {
  static const std::size_t bytes = [] {
    std::size_t total = 0;
    dl_iterate_phdr(
        [](dl_phdr_info* info, std::size_t, void* sum) {
          for (ElfW(Half) i = 0; i < info->dlpi_phnum; ++i) {
            const ElfW(Phdr)& header = info->dlpi_phdr[i];
            if (header.p_type == PT_TLS) {
              *static_cast<std::size_t*>(sum) += header.p_memsz + header.p_align;
            }
          }
          return 0;
        },
        &total);
    const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    return (total + page - 1) / page * page;
  }();
  return bytes;
}

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
  pthread_attr_setstacksize(&attributes, kStackBytes + ThreadLocalStorageBytes());
  pthread_attr_setguardsize(&attributes, kGuardBytes);
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
