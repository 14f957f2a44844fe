#include "Platform/linux/LinuxThreads.h"

#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace rqb {

void BecomeBackgroundThread(const char* name) {
  pthread_setname_np(pthread_self(), name);
  // On Linux the nice value belongs to the thread named by its kernel id.
  setpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid)), 19);
}

void BecomeNetworkThread(const char* name) {
  pthread_setname_np(pthread_self(), name);
  sigset_t pipe_only;
  sigemptyset(&pipe_only);
  sigaddset(&pipe_only, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &pipe_only, nullptr);
}

}  // namespace rqb
