// The user's documents directory and what the file system says about paths.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace rqb {

// Called from any thread, concurrently; never throws. Paths are absolute.
class FileSystem {
 public:
  FileSystem() = default;
  FileSystem(const FileSystem&) = delete;
  FileSystem& operator=(const FileSystem&) = delete;
  virtual ~FileSystem() = default;

  // The user's documents directory, or nothing when there is no user.
  virtual std::optional<std::string> DocumentsDirectory() const = 0;
  // Bytes free for the user on the file system that holds `path`, or nothing
  // when the file system cannot be examined (for instance, `path` is missing).
  virtual std::optional<std::uint64_t> FreeBytes(const std::string& path) const = 0;
  // Whether anything, file or directory, exists at `path`. A path that
  // cannot be examined does not exist.
  virtual bool Exists(const std::string& path) const = 0;
};

}  // namespace rqb
