// The running Linux system's version.
#pragma once

#include "Platform/OperatingSystem.h"

namespace rqb {

class LinuxOperatingSystem final : public OperatingSystem {
 public:
  // The version of ReadRunningSystem(): VERSION_ID of os-release, else the
  // kernel release; read on the first call and kept for the life of the
  // process.
  OperatingSystemVersion Version() const override;
};

}  // namespace rqb
