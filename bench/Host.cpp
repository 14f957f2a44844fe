// A host program for the start-up figures, built twice: linked with the
// library (RQB_HOST_LINKS_LIBRARY) and without it. Neither calls the
// library: the linked one only refers to it, so that the linker keeps it
// whatever its --as-needed setting. With RQB_HOST_REPORT set in the
// environment it prints the shared objects it has mapped and its anonymous
// and resident memory in kB.
#include <cstdio>
#include <cstdlib>

#include "BenchSupport.h"
#ifdef RQB_HOST_LINKS_LIBRARY
#include <RQBehavior/RQBehavior.h>
#endif

int main(int argc, char**) {
#ifdef RQB_HOST_LINKS_LIBRARY
  if (argc > 1000) RQBehavior::getInstance("never-called");
#else
  (void)argc;
#endif
  if (std::getenv("RQB_HOST_REPORT") != nullptr) {
    std::printf("%zu %ld %ld\n", rqb::bench::SharedObjectsMapped(),
                rqb::bench::SmapsRollupKb("Anonymous"), rqb::bench::SmapsRollupKb("Rss"));
  }
  return 0;
}
