// The running system as os-release(5) and the kernel describe it.
#pragma once

#include <string>
#include <string_view>

namespace rqb {

// The value of `key` in text made of KEY=value lines (os-release(5), and
// other system files of the same shape such as /etc/default/keyboard),
// unquoted; "" when absent.
std::string OsReleaseValue(std::string_view text, std::string_view key);

struct RunningSystem {
  // NAME of os-release, e.g. "Debian GNU/Linux"; else the kernel's name.
  std::string name;
  // VERSION_ID of os-release, e.g. "12"; else the kernel release.
  std::string version;
};

// The system whose files are below `root` ("" for this machine): the first of
// /etc/os-release and /usr/lib/os-release that can be read, and uname(2) for
// what it does not say. A value that is not UTF-8 counts as unsaid.
RunningSystem ReadRunningSystemAt(const std::string& root);

// ReadRunningSystemAt() of this machine, read on the first call and kept for
// the life of the process, so that every reader of the system version sees
// the same text.
const RunningSystem& ReadRunningSystem();

}  // namespace rqb
