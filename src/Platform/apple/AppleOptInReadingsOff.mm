// The readings the host did not opt in to: nothing is read, so FreeDiskSpace
// reports "0" and InstalledKeyboards "[]", as when the system gives nothing.
#include "Platform/apple/AppleOptInReadings.h"

namespace rqb::apple {

std::optional<std::uint64_t> FileSystemFreeSize(const std::string&) { return std::nullopt; }

std::optional<std::vector<std::string>> MergedDefaultsList(std::string_view) {
  return std::nullopt;
}

}  // namespace rqb::apple
