// The file system on Linux: the XDG documents directory, statvfs(3) and
// stat(2).
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Platform/FileSystem.h"

namespace rqb {

// The documents directory that `user_dirs` (the text of user-dirs.dirs)
// names for the user whose home is `home`: XDG_DOCUMENTS_DIR="$HOME/Documents"
// gives <home>/Documents and an absolute path stands as it is. Without such
// an entry the documents directory is the home itself, as xdg-user-dirs has
// it. Nothing without a home.
std::optional<std::string> DocumentsDirectoryOf(std::string_view user_dirs,
                                                const std::string& home);

class LinuxFileSystem final : public FileSystem {
 public:
  // DocumentsDirectoryOf() $XDG_CONFIG_HOME/user-dirs.dirs and the home.
  std::optional<std::string> DocumentsDirectory() const override;
  // f_bavail * f_frsize of statvfs(3): the bytes an unprivileged user may
  // still write.
  std::optional<std::uint64_t> FreeBytes(const std::string& path) const override;
  // stat(2) succeeds, following symbolic links.
  bool Exists(const std::string& path) const override;
};

}  // namespace rqb
