#include "Platform/linux/OsRelease.h"

#include <sys/utsname.h>

#include "Platform/ForkGate.h"
#include "Platform/linux/LinuxEnvironment.h"
#include "Utils/Text/Utf8.h"

namespace rqb {
namespace {

std::string TextValue(std::string_view text, std::string_view key) {
  return TextOrNil(OsReleaseValue(text, key)).value_or("");
}

}  // namespace

std::string OsReleaseValue(std::string_view text, std::string_view key) {
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
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

RunningSystem ReadRunningSystemAt(const std::string& root) {
  RunningSystem running;
  for (const char* path : {"/etc/os-release", "/usr/lib/os-release"}) {
    const std::string os_release = ReadFileBytes(root + path, kMaxSettingsFileBytes);
    if (os_release.empty()) continue;
    running.name = TextValue(os_release, "NAME");
    running.version = TextValue(os_release, "VERSION_ID");
    break;
  }
  utsname names{};
  if (uname(&names) == 0) {
    if (running.name.empty()) running.name = names.sysname;
    if (running.version.empty()) running.version = names.release;
  }
  return running;
}

const RunningSystem& ReadRunningSystem() {
  return MakeOnce([] { return new RunningSystem(ReadRunningSystemAt("")); });
}

}  // namespace rqb
