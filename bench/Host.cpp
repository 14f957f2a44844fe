// A host program for the start-up and first-call figures, built twice:
// linked with the shared library (RQB_HOST_LINKS_LIBRARY) and without it.
// With no argument neither calls the library: the linked one only refers to
// it, so that the linker keeps it whatever its --as-needed setting. With
// RQB_HOST_REPORT set in the environment it prints the shared objects it has
// mapped and its anonymous and resident memory in kB.
//
//   rqbehavior-host-with-library first-call N
//       The host's first getInstance, generateSessionId and
//       collectDeviceInformation of the process, and the median of N more of
//       the same, in us.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "BenchSupport.h"
#ifdef RQB_HOST_LINKS_LIBRARY
#include <RQBehavior/RQBehavior.h>
#include <unistd.h>
#endif

namespace {

#ifdef RQB_HOST_LINKS_LIBRARY
int FirstCall(int later_calls) {
  using rqb::bench::TimeUs;
  const auto calls = [] {
    RQBehavior& behavior = RQBehavior::getInstance("shop-app-01");
    behavior.collectDeviceInformation(behavior.generateSessionId());
  };
  const double first = TimeUs(calls);
  std::vector<double> later;
  for (int i = 0; i < later_calls; ++i) later.push_back(TimeUs(calls));
  std::printf("%.2f %.2f\n", first, rqb::bench::Median(later));
  std::fflush(stdout);
  // Runs and uploads are still under way: a host may leave at any moment.
  _exit(0);
}
#endif

}  // namespace

int main(int argc, char** argv) {
#ifdef RQB_HOST_LINKS_LIBRARY
  if (argc > 2 && std::strcmp(argv[1], "first-call") == 0) return FirstCall(std::atoi(argv[2]));
  if (argc > 1000) RQBehavior::getInstance("never-called");
#else
  (void)argc;
  (void)argv;
#endif
  if (std::getenv("RQB_HOST_REPORT") != nullptr) {
    std::printf("%zu %ld %ld\n", rqb::bench::SharedObjectsMapped(),
                rqb::bench::SmapsRollupKb("Anonymous"), rqb::bench::SmapsRollupKb("Rss"));
  }
  return 0;
}
