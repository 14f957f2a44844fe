// The running Linux system's version.
#pragma once

#include <string>
#include <string_view>

#include "Platform/OperatingSystem.h"

namespace rqb {

// The value of `key` in os-release(5) text, unquoted; "" when absent.
std::string OsReleaseValue(std::string_view os_release, std::string_view key);

class LinuxOperatingSystem final : public OperatingSystem {
 public:
  // VERSION_ID of /etc/os-release (or /usr/lib/os-release), else the kernel
  // release; read on the first call and kept for the life of the process.
  OperatingSystemVersion Version() const override;
};

}  // namespace rqb
