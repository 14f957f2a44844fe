#include "Platform/linux/LinuxOperatingSystem.h"

#include <sys/utsname.h>

#include <fstream>
#include <iterator>

namespace rqb {
namespace {

std::string ReadFile(const char* path) {
  std::ifstream file(path);
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

std::string RunningVersionText() {
  for (const char* path : {"/etc/os-release", "/usr/lib/os-release"}) {
    std::string version = OsReleaseValue(ReadFile(path), "VERSION_ID");
    if (!version.empty()) return version;
  }
  utsname names{};
  return uname(&names) == 0 ? names.release : "";
}

}  // namespace

std::string OsReleaseValue(std::string_view os_release, std::string_view key) {
  while (!os_release.empty()) {
    const std::size_t end = os_release.find('\n');
    std::string_view line = os_release.substr(0, end);
    os_release.remove_prefix(end == std::string_view::npos ? os_release.size() : end + 1);
    if (line.size() <= key.size() || line.substr(0, key.size()) != key || line[key.size()] != '=') {
      continue;
    }
    std::string_view value = line.substr(key.size() + 1);
    if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') &&
        value.back() == value.front()) {
      value = value.substr(1, value.size() - 2);
    }
    return std::string(value);
  }
  return {};
}

OperatingSystemVersion LinuxOperatingSystem::Version() const {
  static const OperatingSystemVersion running = ParseOperatingSystemVersion(RunningVersionText());
  return running;
}

}  // namespace rqb
