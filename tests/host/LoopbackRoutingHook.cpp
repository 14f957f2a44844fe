// Linked into the examples' test build of the shared library only, never
// into the installed one: when the environment names a loopback receiver
// (RQBEHAVIOR_TEST_LOOPBACK_PORT, and RQBEHAVIOR_TEST_LOOPBACK_CA_FILE for the
// PEM of the CA that signed its certificate), uploads to the profiling
// service go to it, with certificate verification on.
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>

#include "Constants/RQBBuildConfig.h"
#include "Platform/Platform.h"
#include "Platform/linux/CurlUrlSession.h"

namespace {

std::string_view AuthorityOfProfilerUrl() {
  std::string_view url = RQB_PROFILER_BASE_URL;
  url.remove_prefix(std::string_view("https://").size());
  return url.substr(0, url.find('/'));
}

// Runs when the library is loaded, after the library's own initialisers (this
// object is linked last).
struct LoopbackRouting {
  LoopbackRouting() {
    const char* port = std::getenv("RQBEHAVIOR_TEST_LOOPBACK_PORT");
    const char* ca_file = std::getenv("RQBEHAVIOR_TEST_LOOPBACK_CA_FILE");
    if (port == nullptr || ca_file == nullptr) return;
    std::ostringstream ca_pem;
    ca_pem << std::ifstream(ca_file).rdbuf();
    auto* sessions = new rqb::CurlUrlSessionFactory(rqb::CurlUrlSessionFactory::LoopbackRoute(
        AuthorityOfProfilerUrl(), std::atoi(port), ca_pem.str()));
    // In force until the process ends.
    new rqb::ScopedPlatformOverride(rqb::Platform{.url_sessions = sessions});
  }
} routing;

}  // namespace
