#include "Platform/linux/LinuxOperatingSystem.h"

#include "Platform/linux/OsRelease.h"

namespace rqb {

OperatingSystemVersion LinuxOperatingSystem::Version() const {
  static const OperatingSystemVersion running =
      ParseOperatingSystemVersion(ReadRunningSystem().version);
  return running;
}

}  // namespace rqb
