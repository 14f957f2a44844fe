// The library's own build version. A static library has no bundle of its own
// (NSBundle would answer with the host application's), so the version is the
// one the library was built as, compiled in.
#include "Constants/RQBBuildConfig.h"
#include "Platform/LibraryBundle.h"
#include "Platform/apple/AppleProviders.h"

namespace rqb::apple {
namespace {

class AppleLibraryBundle final : public LibraryBundle {
 public:
  std::optional<std::string> Version() const override { return RQB_LIBRARY_VERSION; }
};

}  // namespace

LibraryBundle* NewLibraryBundle() { return new AppleLibraryBundle(); }

}  // namespace rqb::apple
