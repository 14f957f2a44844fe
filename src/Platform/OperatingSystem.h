// The running operating system's version, and the test "at least version X".
#pragma once

#include <string_view>

namespace rqb {

struct OperatingSystemVersion {
  long major = 0;
  long minor = 0;
  long patch = 0;
};

// "12.4.1" gives {12, 4, 1}; missing parts are 0 and anything after the
// leading dotted numbers is ignored ("6.1.0-18-amd64" gives {6, 1, 0}).
OperatingSystemVersion ParseOperatingSystemVersion(std::string_view text);

class OperatingSystem {
 public:
  OperatingSystem() = default;
  OperatingSystem(const OperatingSystem&) = delete;
  OperatingSystem& operator=(const OperatingSystem&) = delete;
  virtual ~OperatingSystem() = default;

  // The running system's version. Real providers read it once per process.
  virtual OperatingSystemVersion Version() const = 0;
};

// Whether the current platform's system is at least `required`, comparing
// major, then minor, then patch.
bool IsOperatingSystemAtLeastVersion(const OperatingSystemVersion& required);

}  // namespace rqb
