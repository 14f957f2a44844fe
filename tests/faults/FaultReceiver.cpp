// The profiling service's stand-in for the fault campaign: the loopback
// receiver with a throw-away CA, reporting each request it receives on
// stdout as one JSON line, for the driver to judge.
//
// Usage: rqbehavior_fault_receiver CA_FILE
// Writes the CA's certificate (PEM) to CA_FILE, prints {"port": N}, then
// {"method", "path", "headers", "body"} per request, and ends when stdin
// closes.
#include <atomic>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <limits>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>

#include "Constants/RQBBuildConfig.h"
#include "LoopbackReceiver.h"

namespace {

void PrintLine(const nlohmann::json& line) {
  // The bodies are the library's own UTF-8; anything else is shown, not refused.
  std::cout << line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) << std::endl;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: rqbehavior_fault_receiver CA_FILE\n");
    return 64;
  }
  rqb::loopback::TestCertificateAuthority ca;
  rqb::loopback::LoopbackReceiver receiver(ca, rqb::loopback::HostOfUrl(RQB_PROFILER_BASE_URL));
  std::ofstream(argv[1]) << ca.CertificatePem();
  PrintLine({{"port", receiver.port()}});

  std::atomic<bool> driver_gone{false};
  std::thread watch_stdin([&] {
    std::cin.ignore(std::numeric_limits<std::streamsize>::max());  // until stdin closes
    driver_gone = true;
  });
  std::size_t reported = 0;
  while (!driver_gone) {
    receiver.WaitForRequests(reported + 1, std::chrono::milliseconds(50));
    const auto requests = receiver.Requests();
    for (; reported < requests.size(); ++reported) {
      const auto& request = requests[reported];
      PrintLine({{"method", request.method},
                 {"path", request.path},
                 {"headers", std::map<std::string, std::string>(request.headers.begin(),
                                                                request.headers.end())},
                 {"body", request.body}});
    }
  }
  watch_stdin.join();
  return 0;
}
