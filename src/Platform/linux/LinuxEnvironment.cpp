#include "Platform/linux/LinuxEnvironment.h"

#include <errno.h>
#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>

namespace rqb {
namespace {

std::string AbsolutePathFromEnvironment(const char* variable) {
  const char* value = std::getenv(variable);
  return value != nullptr && value[0] == '/' ? value : "";
}

std::string BelowHome(const char* variable, const char* relative) {
  std::string path = AbsolutePathFromEnvironment(variable);
  if (!path.empty()) return path;
  const std::string home = HomeDirectory();
  return home.empty() ? "" : home + "/" + relative;
}

std::vector<std::string> PathListFromEnvironment(const char* variable,
                                                 std::vector<std::string> fallback) {
  const char* value = std::getenv(variable);
  if (value == nullptr) return fallback;
  std::vector<std::string> paths;
  for (const std::string_view entry : SplitList(value, ':')) {
    if (entry.starts_with('/')) paths.emplace_back(entry);
  }
  return paths.empty() ? fallback : paths;
}

}  // namespace

std::string HomeDirectory() {
  std::string home = AbsolutePathFromEnvironment("HOME");
  if (!home.empty()) return home;
  passwd entry{};
  passwd* found = nullptr;
  std::string buffer(16384, '\0');
  if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr &&
      found->pw_dir != nullptr && found->pw_dir[0] == '/') {
    return found->pw_dir;
  }
  return "";
}

std::string XdgConfigHome() { return BelowHome("XDG_CONFIG_HOME", ".config"); }

std::string XdgDataHome() { return BelowHome("XDG_DATA_HOME", ".local/share"); }

std::vector<std::string> XdgConfigDirs() {
  return PathListFromEnvironment("XDG_CONFIG_DIRS", {"/etc/xdg"});
}

std::vector<std::string> XdgDataDirs() {
  return PathListFromEnvironment("XDG_DATA_DIRS", {"/usr/local/share", "/usr/share"});
}

std::string ApplicationName() {
  const std::string_view name = program_invocation_short_name;
  if (name.empty() || name == "." || name == "..") return "application";
  return std::string(name);
}

std::string ReadTextFile(const std::string& path) {
  std::ifstream file(path);
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>{});
}

std::vector<std::string_view> SplitList(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  if (text.empty()) return parts;
  for (;;) {
    const std::size_t end = text.find(separator);
    parts.push_back(text.substr(0, end));
    if (end == std::string_view::npos) return parts;
    text.remove_prefix(end + 1);
  }
}

}  // namespace rqb
