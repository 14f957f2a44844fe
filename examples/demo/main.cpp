// A host program as a real application would use RQBehavior, with a loopback
// HTTPS receiver standing in for the profiling service. Waits for its upload
// with RQBehavior::flush(), prints the request the receiver got and exits 0
// once the device profile has arrived.
//
// With RQBEHAVIOR_DEMO_SERVICE_PORT and RQBEHAVIOR_DEMO_SERVICE_CA_FILE set
// (make demo sets them), the upload goes to rqbehavior-service listening on
// that port of 127.0.0.1, trusted through that certificate file, instead;
// the demo then prints the session identifier and exits 0 once the upload
// has finished.
#include <RQBehavior/RQBehavior.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "Constants/RQBBuildConfig.h"
#include "LoopbackReceiver.h"
#include "Platform/Platform.h"
#include "Platform/linux/CurlUrlSession.h"

namespace {

// Longer than an upload's 10-second time-outs, so that a slow upload ends in
// its own log line rather than in the demo's.
constexpr auto kProfileWait = std::chrono::seconds(20);

// Sends the library's uploads for the profiling service's host and port to
// `port` of 127.0.0.1, trusting the certificates in `ca_pem`, for the rest of
// the process. Certificate checks stay on.
void RouteUploads(int port, const std::string& ca_pem) {
  auto* sessions = new rqb::CurlUrlSessionFactory(rqb::CurlUrlSessionFactory::LoopbackRoute(
      rqb::loopback::AuthorityOfUrl(RQB_PROFILER_BASE_URL), port, ca_pem));
  rqb::Platform routed;
  routed.url_sessions = sessions;
  new rqb::ScopedPlatformOverride(routed);  // in force until the process ends
}

int UploadToService(int port, const std::string& ca_file) {
  std::ostringstream ca_pem;
  ca_pem << std::ifstream(ca_file).rdbuf();
  RouteUploads(port, ca_pem.str());
  RQBehavior& behavior = RQBehavior::getInstance("shop-app-01");
  const std::string session = behavior.generateSessionId();
  behavior.collectDeviceInformation(session);
  if (!RQBehavior::flush(kProfileWait)) {
    std::fprintf(stderr, "demo: the upload did not finish within %lld seconds\n",
                 static_cast<long long>(kProfileWait.count()));
    return 1;
  }
  std::printf("%s\n", session.c_str());
  return 0;
}

void Print(const rqb::loopback::ReceivedRequest& request) {
  std::printf("%s %s %s\n", request.method.c_str(), request.path.c_str(),
              request.version.c_str());
  for (const auto& [name, value] : request.headers) {
    std::printf("%s: %s\n", name.c_str(), value.c_str());
  }
  std::printf("\n%s\n", request.body.c_str());
}

}  // namespace

int main() {
  const char* service_port = std::getenv("RQBEHAVIOR_DEMO_SERVICE_PORT");
  const char* service_ca_file = std::getenv("RQBEHAVIOR_DEMO_SERVICE_CA_FILE");
  if (service_port != nullptr && service_ca_file != nullptr) {
    return UploadToService(std::atoi(service_port), service_ca_file);
  }

  const std::string host = rqb::loopback::HostOfUrl(RQB_PROFILER_BASE_URL);
  rqb::loopback::TestCertificateAuthority ca;
  rqb::loopback::LoopbackReceiver receiver(ca, host);
  RouteUploads(receiver.port(), ca.CertificatePem());
  std::printf("Profiling service %s stands in at 127.0.0.1:%d\n\n",
              rqb::loopback::AuthorityOfUrl(RQB_PROFILER_BASE_URL).c_str(), receiver.port());

  // What a host application does.
  RQBehavior& behavior = RQBehavior::getInstance("shop-app-01");
  const std::string session = behavior.generateSessionId();
  behavior.collectDeviceInformation(session);

  // A host that wants its profile sent before it exits waits for it last.
  const bool finished = RQBehavior::flush(kProfileWait);
  if (!finished || receiver.RequestCount() == 0) {
    std::fprintf(stderr, "demo: no device profile arrived within %lld seconds\n",
                 static_cast<long long>(kProfileWait.count()));
    return 1;
  }
  Print(receiver.Requests().front());
  std::fflush(stdout);
  return 0;
}
