// What the Linux providers read from the process environment: where a user's
// files live (the XDG base directories) and the name under which this
// application keeps its own; and the small text helpers they share.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace rqb {

// $HOME, else the user's home from the password database; "" when neither
// names an absolute path.
std::string HomeDirectory();

// $XDG_CONFIG_HOME, else <home>/.config; "" without a home. A relative path
// in the variable is ignored, as the XDG base directory rules say.
std::string XdgConfigHome();
// $XDG_DATA_HOME, else <home>/.local/share; "" without a home.
std::string XdgDataHome();
// The absolute entries of $XDG_CONFIG_DIRS, else /etc/xdg.
std::vector<std::string> XdgConfigDirs();
// The absolute entries of $XDG_DATA_DIRS, else /usr/local/share and /usr/share.
std::vector<std::string> XdgDataDirs();

// The running program's short name (its executable's file name), which names
// the application's preferences file and vendor identifier.
std::string ApplicationName();

// The most bytes the providers read from each kind of file they do not own.
// A larger file counts as unreadable: a real one is far smaller, and a
// damaged or hostile one must not cost more memory or time than this.
// sysfs attributes and uevent files: one page, the most the kernel writes.
inline constexpr std::size_t kMaxSysfsFileBytes = 4096;
// os-release, keyboard configuration, user-dirs.dirs, machine-id, timezone.
inline constexpr std::size_t kMaxSettingsFileBytes = 64 * 1024;
// The desktop's MIME association files, which list every installed handler.
inline constexpr std::size_t kMaxAssociationFileBytes = 1024 * 1024;
// The application's preferences file.
inline constexpr std::size_t kMaxPreferencesFileBytes = 1024 * 1024;

// What ReadBoundedFile() found.
struct FileContents {
  enum class Status { kRead, kMissing, kUnreadable, kTooLarge };
  Status status = Status::kMissing;
  // The whole file when `status` is kRead; empty otherwise.
  std::string bytes;
};

// Reads the regular file at `path` (symbolic links followed) when it holds at
// most `max_bytes`. Anything else (a FIFO, a device, a folder) is unreadable,
// and is opened without blocking so that it can never stall the caller. The
// bytes are returned as they are: whoever takes text from them checks that it
// is UTF-8.
FileContents ReadBoundedFile(const std::string& path, std::size_t max_bytes);

// The bytes of ReadBoundedFile() when it read the whole file; "" otherwise.
std::string ReadFileBytes(const std::string& path, std::size_t max_bytes);

// The parts of `text` between `separator`s, empty parts included; none for
// an empty text.
std::vector<std::string_view> SplitList(std::string_view text, char separator);

}  // namespace rqb
