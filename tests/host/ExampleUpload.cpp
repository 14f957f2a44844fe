// Runs an example host program against a loopback receiver standing in for
// the profiling service, and passes when the program's device profile
// arrives: a POST to the service's path whose body names the expected
// application and carries a session identifier and every profile key.
//
// Usage: rqbehavior_example_upload APP COMMAND [ARGUMENT...]
// The command runs with RQBEHAVIOR_TEST_LOOPBACK_PORT and
// RQBEHAVIOR_TEST_LOOPBACK_CA_FILE set and must exit on its own with status
// 0 once its profile has been sent.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>

#include "Constants/RQBBuildConfig.h"
#include "LoopbackReceiver.h"

namespace {

constexpr unsigned kProfileWait = 60;  // seconds
constexpr std::size_t kProfileKeys = 27;

int Fail(const std::string& why) {
  std::fprintf(stderr, "example upload: %s\n", why.c_str());
  return 1;
}

// What is wrong with the request, or "" when it is the expected profile.
std::string ProblemWith(const rqb::loopback::ReceivedRequest& request, const std::string& app) {
  if (request.method != "POST" || request.path != "/api/profiler/variables") {
    return "unexpected request " + request.method + " " + request.path;
  }
  if (request.Header("Host") != rqb::loopback::AuthorityOfUrl(RQB_PROFILER_BASE_URL)) {
    return "unexpected Host " + request.Header("Host");
  }
  const nlohmann::json body = nlohmann::json::parse(request.body, nullptr, false);
  if (!body.is_object() || body.size() != 3) return "not a device profile:\n" + request.body;
  if (body.value("App", "") != app) return "App is not " + app + ":\n" + request.body;
  if (body.value("SessionID", "").size() != 36) return "no session identifier:\n" + request.body;
  if (!body["Variables"].is_object() || body["Variables"].size() != kProfileKeys) {
    return "not every profile key:\n" + request.body;
  }
  return "";
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) return Fail("usage: rqbehavior_example_upload APP COMMAND [ARGUMENT...]");
  const std::string app = argv[1];

  rqb::loopback::TestCertificateAuthority ca;
  rqb::loopback::LoopbackReceiver receiver(ca, rqb::loopback::HostOfUrl(RQB_PROFILER_BASE_URL));
  char ca_file[] = "/tmp/rqbehavior-loopback-ca.XXXXXX";
  const int ca_fd = mkstemp(ca_file);
  if (ca_fd < 0) return Fail("cannot write the CA file");
  close(ca_fd);
  std::ofstream(ca_file) << ca.CertificatePem();
  setenv("RQBEHAVIOR_TEST_LOOPBACK_PORT", std::to_string(receiver.port()).c_str(), 1);
  setenv("RQBEHAVIOR_TEST_LOOPBACK_CA_FILE", ca_file, 1);

  const pid_t child = fork();
  if (child == 0) {
    alarm(kProfileWait);  // kept across exec: a program that does not exit is ended
    execvp(argv[2], &argv[2]);
    std::perror(argv[2]);
    _exit(127);
  }
  // The program waits for its own upload before it exits.
  int status = 0;
  waitpid(child, &status, 0);
  std::remove(ca_file);
  if (WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM) return Fail("the program did not exit");

  if (receiver.RequestCount() == 0) return Fail("no device profile arrived");
  if (receiver.RequestCount() != 1) return Fail("more than one upload");
  if (const std::string problem = ProblemWith(receiver.Requests().front(), app); !problem.empty()) {
    return Fail(problem);
  }
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    return Fail("the program did not exit cleanly (status " + std::to_string(status) + ")");
  }
  std::printf("example upload: %s's device profile arrived\n", app.c_str());
  return 0;
}
