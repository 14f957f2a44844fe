// A host program for the tests: it uses the library as an application would,
// in a hostile setting the test picks, and leaves the way the test asks. The
// test judges it by its exit status and what it wrote.
//
//   rqbehavior_host_probe leave <port> <ca.pem> <delay-us> <return|exit> <first>
//       Collects a few times with uploads routed to the loopback receiver at
//       <port>, waits <delay-us>, then returns from main or calls exit(0).
//       <first> is "host" when the host initialises OpenSSL before the
//       library does, as hosts that use it themselves do, else "library".
//   rqbehavior_host_probe no-threads
//       Collects once while the system refuses every new thread.
//   rqbehavior_host_probe no-getrandom <files|no-files>
//       Prints two session identifiers while getrandom(2) answers ENOSYS, and
//       with "no-files" while no file can be opened either.
//   rqbehavior_host_probe fork <port> <ca.pem> <children>
//       Keeps runs in flight on several threads and forks <children> times
//       meanwhile; each child collects once for the session "child-<n>",
//       waits for its upload and exits. Prints how the children ended.
#include <RQBehavior/RQBehavior.h>
#include <errno.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <openssl/ssl.h>
#include <stddef.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "Constants/RQBBuildConfig.h"
#include "Platform/Platform.h"
#include "Platform/linux/CurlUrlSession.h"

namespace {

// Exit statuses the tests tell apart from a failure of the library.
constexpr int kUsage = 64;
constexpr int kCannotSetUp = 77;  // the test skips: this system does not allow the set-up

// Ends a probe whose limits a leak checker's exit handler would trip over: it
// needs a thread and files of its own.
[[noreturn]] void LeaveWithoutExitHandlers(int status) {
  std::fflush(stdout);
  std::_Exit(status);
}

// Sends the library's uploads to the loopback receiver at `port`, trusting the
// CA in `ca_path`, for the rest of the process.
void RouteUploads(const char* port, const char* ca_path) {
  std::ostringstream pem;
  pem << std::ifstream(ca_path).rdbuf();
  // The host of the base URL, which the route sends to the receiver.
  const std::string url = RQB_PROFILER_BASE_URL;
  const std::size_t start = url.find("//") + 2;
  const std::string host = url.substr(start, url.find_first_of(":/", start) - start);
  auto* sessions = new rqb::CurlUrlSessionFactory(
      rqb::CurlUrlSessionFactory::LoopbackRoute(host, std::atoi(port), pem.str()));
  // Never ended: runs may outlive main.
  new rqb::ScopedPlatformOverride(rqb::Platform{.url_sessions = sessions});
}

int Leave(char** argv) {
  // OpenSSL's exit handler is registered when the host initialises it first.
  if (std::string(argv[6]) == "host") OPENSSL_init_ssl(0, nullptr);
  RouteUploads(argv[2], argv[3]);
  RQBehavior& behavior = RQBehavior::getInstance("probe-app");
  // A few runs keep more library threads inside OpenSSL at once.
  for (int run = 0; run < 8; ++run) {
    behavior.collectDeviceInformation(behavior.generateSessionId());
  }
  usleep(static_cast<useconds_t>(std::atol(argv[4])));
  if (std::string(argv[5]) == "exit") std::exit(0);
  return 0;
}

// Drops root, whose thread count is not limited, then allows no new thread.
int NoThreads() {
  if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) return kCannotSetUp;
  const rlimit one{1, 1};
  if (setrlimit(RLIMIT_NPROC, &one) != 0) return kCannotSetUp;
  RQBehavior& behavior = RQBehavior::getInstance("probe-app");
  behavior.collectDeviceInformation(behavior.generateSessionId());
  LeaveWithoutExitHandlers(RQBehavior::flush(std::chrono::seconds(5)) ? 0 : 3);
}

#if defined(__x86_64__)
constexpr unsigned kAuditArch = AUDIT_ARCH_X86_64;
#elif defined(__aarch64__)
constexpr unsigned kAuditArch = AUDIT_ARCH_AARCH64;
#endif

// A seccomp filter under which getrandom(2) fails with ENOSYS, as under
// sandboxes that predate it.
bool RefuseGetrandom() {
#if defined(__x86_64__) || defined(__aarch64__)
  sock_filter program[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, arch)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, kAuditArch, 1, 0),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_getrandom, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  const sock_fprog filter{static_cast<unsigned short>(sizeof program / sizeof program[0]), program};
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
#else
  return false;
#endif
}

int NoGetrandom(char** argv) {
  if (!RefuseGetrandom()) return kCannotSetUp;
  char probe;
  if (syscall(SYS_getrandom, &probe, 1, 0) != -1 || errno != ENOSYS) return kCannotSetUp;
  RQBehavior& behavior = RQBehavior::getInstance("probe-app");
  // A first identifier while files can be opened: the sanitizers check the
  // first calls through the platform with a pipe.
  behavior.generateSessionId();
  if (std::string(argv[2]) == "no-files") {
    const rlimit none{0, 0};
    if (setrlimit(RLIMIT_NOFILE, &none) != 0) return kCannotSetUp;
  }
  const std::string first = behavior.generateSessionId();
  const std::string second = behavior.generateSessionId();
  std::printf("%s\n%s\n", first.c_str(), second.c_str());
  LeaveWithoutExitHandlers(0);
}

// Waits for `child`; false, with a line that says how it ended, when it
// failed or was stuck (its alarm ends it then).
bool ChildEnded(pid_t child) {
  int status = 0;
  waitpid(child, &status, 0);
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return true;
  std::printf("child %d ended with status %d (14: stuck until its alarm)\n",
              static_cast<int>(child), status);
  return false;
}

int Fork(char** argv) {
  RouteUploads(argv[2], argv[3]);
  const int children = std::atoi(argv[4]);
  RQBehavior& behavior = RQBehavior::getInstance("probe-app");
  // Four host threads each start a run every 20 ms: library threads are
  // always collecting, reading preferences, hashing and uploading.
  std::atomic<bool> stop = false;
  std::vector<std::thread> hosts;
  for (int i = 0; i < 4; ++i) {
    hosts.emplace_back([&] {
      while (!stop) {
        behavior.collectDeviceInformation(behavior.generateSessionId());
        usleep(20000);
      }
    });
  }
  // A few children at a time, each forked while the others run.
  constexpr int kAtOnce = 4;
  int failed = 0;
  for (int n = 0; n < children;) {
    std::vector<pid_t> batch;
    for (; n < children && batch.size() < kAtOnce; ++n) {
      const pid_t child = fork();
      if (child == 0) {
        alarm(30);  // a child that has not ended by then is stuck
        behavior.collectDeviceInformation("child-" + std::to_string(n));
        std::exit(RQBehavior::flush(std::chrono::seconds(20)) ? 0 : 3);
      }
      batch.push_back(child);
    }
    for (const pid_t child : batch) {
      if (child < 0 || !ChildEnded(child)) ++failed;
    }
  }
  stop = true;
  for (std::thread& host : hosts) host.join();
  std::printf("%d of %d children failed or hung\n", failed, children);
  // The runs still queued are not waited for: the children are the test.
  LeaveWithoutExitHandlers(failed == 0 ? 0 : 1);
}

}  // namespace

int main(int argc, char** argv) {
  const std::string mode = argc > 1 ? argv[1] : "";
  if (mode == "leave" && argc == 7) return Leave(argv);
  if (mode == "no-threads" && argc == 2) return NoThreads();
  if (mode == "no-getrandom" && argc == 3) return NoGetrandom(argv);
  if (mode == "fork" && argc == 5) return Fork(argv);
  std::fprintf(stderr, "usage: see the comment at the top of HostProbe.cpp\n");
  return kUsage;
}
