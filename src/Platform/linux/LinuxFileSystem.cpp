#include "Platform/linux/LinuxFileSystem.h"

#include <sys/stat.h>
#include <sys/statvfs.h>

#include "Platform/linux/LinuxEnvironment.h"
#include "Platform/linux/OsRelease.h"
#include "Utils/Text/Utf8.h"

namespace rqb {

std::optional<std::string> DocumentsDirectoryOf(std::string_view user_dirs,
                                                const std::string& home) {
  if (home.empty()) return std::nullopt;
  // The file holds shell assignments of the same shape as os-release.
  const std::string value = OsReleaseValue(user_dirs, "XDG_DOCUMENTS_DIR");
  std::string_view path = value;
  if (path == "$HOME" || path.starts_with("$HOME/")) {
    path.remove_prefix(5);
    // "$HOME/" alone is how the file says "no folder of its own".
    while (path.starts_with('/')) path.remove_prefix(1);
    return TextOrNil(path.empty() ? home : home + "/" + std::string(path));
  }
  if (path.starts_with('/')) return TextOrNil(std::string(path));
  return TextOrNil(home);
}

std::optional<std::string> LinuxFileSystem::DocumentsDirectory() const {
  const std::string home = HomeDirectory();
  const std::string config = XdgConfigHome();
  return DocumentsDirectoryOf(
      config.empty() ? "" : ReadFileBytes(config + "/user-dirs.dirs", kMaxSettingsFileBytes), home);
}

std::optional<std::uint64_t> LinuxFileSystem::FreeBytes(const std::string& path) const {
  struct statvfs info {};
  if (statvfs(path.c_str(), &info) != 0) return std::nullopt;
  return static_cast<std::uint64_t>(info.f_bavail) * info.f_frsize;
}

bool LinuxFileSystem::Exists(const std::string& path) const {
  struct stat info {};
  return stat(path.c_str(), &info) == 0;
}

}  // namespace rqb
