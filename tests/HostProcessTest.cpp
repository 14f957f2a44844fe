// Host processes in hostile settings (see support/HostProbe.cpp): whatever the
// library's threads are doing, the host ends the way it meant to, never by a
// signal or an abort of the library's making.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "Constants/RQBBuildConfig.h"
#include "FakePlatform.h"
#include "LoopbackReceiver.h"

extern char** environ;
// Defined when a sanitizer's runtime is linked in.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes() __attribute__((weak));

namespace rqb {
namespace {

constexpr int kCannotSetUp = 77;  // the probe's status when the system refuses the set-up

struct Outcome {
  int status = -1;  // as waitpid(2) reports it
  std::string out;
  std::string err;
};

// A probe process under way, writing its stdout and stderr to files.
struct Probe {
  Outcome Wait() const {
    int status = -1;
    if (pid > 0) waitpid(pid, &status, 0);
    return {status, test::FileText(out), test::FileText(err)};
  }

  pid_t pid = -1;
  std::string out, err;
};

bool ExitedWith(const Outcome& outcome, int code) {
  return WIFEXITED(outcome.status) && WEXITSTATUS(outcome.status) == code;
}

// Success when the probe exited 0; else how it ended, and what it wrote.
testing::AssertionResult EndedWell(const Outcome& outcome) {
  if (ExitedWith(outcome, 0)) return testing::AssertionSuccess();
  const int status = outcome.status;
  const std::string how = WIFSIGNALED(status)
                              ? "killed by signal " + std::to_string(WTERMSIG(status))
                          : WIFEXITED(status) ? "exit status " + std::to_string(WEXITSTATUS(status))
                                              : "status " + std::to_string(status);
  return testing::AssertionFailure() << how << "\n" << outcome.out << outcome.err;
}

class HostProcess : public ::testing::Test {
 protected:
  HostProcess() { std::ofstream(ca_path_) << ca_.CertificatePem(); }

  // Starts a probe as a host starts: with the default signal dispositions and
  // no blocked signal, whatever this process changed (it ignores SIGPIPE).
  Probe Start(std::vector<std::string> arguments) {
    const std::string name = folder_.name + "/probe-" + std::to_string(++probes_);
    Probe probe{-1, name + ".out", name + ".err"};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (const auto& [fd, path] :
         {std::pair(STDOUT_FILENO, &probe.out), {STDERR_FILENO, &probe.err}}) {
      posix_spawn_file_actions_addopen(&actions, fd, path->c_str(), O_WRONLY | O_CREAT, 0600);
    }
    arguments.insert(arguments.begin(), RQB_HOST_PROBE);
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t all, none;
    sigfillset(&all);
    sigemptyset(&none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    if (posix_spawn(&probe.pid, RQB_HOST_PROBE, &actions, &attributes, argv.data(), environ) != 0) {
      probe.pid = -1;
    }
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return probe;
  }

  std::string Port() const { return std::to_string(receiver_.port()); }

  loopback::TestCertificateAuthority ca_;
  loopback::LoopbackReceiver receiver_{ca_, loopback::HostOfUrl(RQB_PROFILER_BASE_URL)};
  const test::TemporaryDirectory folder_;
  const std::string ca_path_ = folder_.name + "/ca.pem";
  int probes_ = 0;
};

TEST_F(HostProcess, LeavingMainOrCallingExitWhileRunsAndUploadsAreUnderWayEndsNormally) {
  // Runs collect, hash the vendor identifier and hand over their uploads in
  // the first milliseconds; the handshakes follow. The delays cover all of
  // it, with OpenSSL initialised by the library and by the host first.
  std::vector<std::vector<std::string>> cases;
  for (int delay_us = 0; delay_us <= 30'000; delay_us += 2'000) {
    for (const char* how : {"return", "exit"}) {
      for (const char* first : {"library", "host"}) {
        cases.push_back({"leave", Port(), ca_path_, std::to_string(delay_us), how, first});
      }
    }
  }
  // A few at a time, so that the machine's load does not stretch the timing.
  constexpr std::size_t kAtOnce = 3;
  for (std::size_t next = 0; next < cases.size(); next += kAtOnce) {
    std::vector<Probe> probes;
    for (std::size_t i = next; i < std::min(next + kAtOnce, cases.size()); ++i) {
      probes.push_back(Start(cases[i]));
    }
    for (std::size_t i = 0; i < probes.size(); ++i) {
      ASSERT_TRUE(EndedWell(probes[i].Wait())) << testing::PrintToString(cases[next + i]);
    }
  }
}

// A child forked while library threads hold the library's locks, or are
// inside the libraries it uses, must not inherit a lock held by a thread it
// does not have: its own run uploads, and it exits.
TEST_F(HostProcess, ChildrenForkedWhileRunsAreInFlightUploadTheirOwnProfiles) {
  // The sanitizers' own allocators keep locks that a child of a threaded
  // parent inherits held: their children hang before the library runs.
  if (&__sanitizer_get_current_allocated_bytes != nullptr) {
    GTEST_SKIP() << "a sanitizer's allocator is not safe across fork() in a threaded process";
  }
  constexpr int kChildren = 200;
  ASSERT_TRUE(EndedWell(Start({"fork", Port(), ca_path_, std::to_string(kChildren)}).Wait()));
  std::set<std::string> children;
  for (const auto& request : receiver_.Requests()) {
    const auto body = nlohmann::json::parse(request.body);
    const std::string session = body["SessionID"];
    if (session.starts_with("child-")) children.insert(session);
  }
  EXPECT_EQ(children.size(), static_cast<std::size_t>(kChildren));
}

TEST_F(HostProcess, WhenTheSystemRefusesThreadsARunIsDroppedWithALogLine) {
  const Outcome outcome = Start({"no-threads"}).Wait();
  if (ExitedWith(outcome, kCannotSetUp))
    GTEST_SKIP() << "cannot limit the threads of a process here";
  EXPECT_TRUE(EndedWell(outcome));
  EXPECT_THAT(outcome.err, testing::HasSubstr("no thread could be started"));
}

TEST_F(HostProcess, WithoutGetrandomSessionIdentifiersComeFromAnotherSource) {
  for (const char* files : {"files", "no-files"}) {
    SCOPED_TRACE(files);
    const Outcome outcome = Start({"no-getrandom", files}).Wait();
    if (ExitedWith(outcome, kCannotSetUp)) GTEST_SKIP() << "cannot install a seccomp filter here";
    ASSERT_TRUE(EndedWell(outcome));
    EXPECT_THAT(outcome.out,
                testing::MatchesRegex(test::kUuidPattern + "\n" + test::kUuidPattern + "\n"));
    EXPECT_NE(outcome.out.substr(0, 36), outcome.out.substr(37, 36));
  }
}

}  // namespace
}  // namespace rqb
