// Facts about the library itself as it was built.
#pragma once

#include <optional>
#include <string>

namespace rqb {

// Called from any thread; never throws.
class LibraryBundle {
 public:
  LibraryBundle() = default;
  LibraryBundle(const LibraryBundle&) = delete;
  LibraryBundle& operator=(const LibraryBundle&) = delete;
  virtual ~LibraryBundle() = default;

  // The library's own build version (not the host application's), or
  // nothing when the build recorded none.
  virtual std::optional<std::string> Version() const = 0;
};

}  // namespace rqb
