// A second process for the tests: prints the device-generated identifier
// that the collector reports with the preferences file named by its argument.
#include <cstdio>

#include "DataHelpers/RQBUniqueIdentifierDataHelper.h"
#include "Platform/Platform.h"
#include "Platform/linux/LinuxPreferences.h"

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  rqb::LinuxPreferences preferences(argv[1]);
  const rqb::ScopedPlatformOverride in_force(rqb::Platform{.preferences = &preferences});
  std::printf("%s\n", RQBUniqueIdentifierDataHelper().getValue().value_or("").c_str());
  return 0;
}
