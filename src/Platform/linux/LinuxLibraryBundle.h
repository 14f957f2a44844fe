// The library's own build facts on Linux.
#pragma once

#include "Constants/RQBBuildConfig.h"
#include "Platform/LibraryBundle.h"

namespace rqb {

class LinuxLibraryBundle final : public LibraryBundle {
 public:
  // The project version the library was built as, e.g. "3.0.2".
  std::optional<std::string> Version() const override { return RQB_LIBRARY_VERSION; }
};

}  // namespace rqb
