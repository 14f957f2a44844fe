#include "Platform/linux/LinuxEnvironment.h"

#include <errno.h>
#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

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

FileContents ReadBoundedFile(const std::string& path, std::size_t max_bytes) {
  using Status = FileContents::Status;
  FileContents contents;
  // O_NONBLOCK: opening a FIFO without a writer would wait for one forever.
  const int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (fd < 0) {
    contents.status = errno == ENOENT || errno == ENOTDIR ? Status::kMissing : Status::kUnreadable;
    return contents;
  }
  // Asked of the open descriptor, so that the file checked is the file read.
  struct stat info {};
  contents.status =
      fstat(fd, &info) == 0 && S_ISREG(info.st_mode) ? Status::kRead : Status::kUnreadable;
  // sysfs reports a page for every attribute, so the size is only a hint.
  if (contents.status == Status::kRead && info.st_size > 0) {
    contents.bytes.reserve(std::min(static_cast<std::size_t>(info.st_size), max_bytes) + 1);
  }
  char buffer[4096];
  while (contents.status == Status::kRead) {
    const std::size_t room = max_bytes + 1 - contents.bytes.size();
    const ssize_t n = read(fd, buffer, std::min(sizeof buffer, room));
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) contents.status = Status::kUnreadable;
    if (n <= 0) break;
    contents.bytes.append(buffer, static_cast<std::size_t>(n));
    // One byte past the bound tells a file of exactly max_bytes from a larger one.
    if (contents.bytes.size() > max_bytes) contents.status = Status::kTooLarge;
  }
  close(fd);
  if (contents.status != Status::kRead) contents.bytes = std::string();
  return contents;
}

std::string ReadFileBytes(const std::string& path, std::size_t max_bytes) {
  return ReadBoundedFile(path, max_bytes).bytes;
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
