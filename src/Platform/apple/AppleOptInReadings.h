// The two readings that call APIs whose use here no approved privacy reason
// covers: the free space of a file system, which the profile sends off the
// device, and the system-written keyboard list in the defaults' merged view.
// The build compiles them only when the host opts in
// (RQBEHAVIOR_IOS_DISK_AND_KEYBOARD_READINGS); otherwise both read nothing.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace rqb::apple {

// Bytes free on the file system that holds `path`, or nothing.
std::optional<std::uint64_t> FileSystemFreeSize(const std::string& path);

// The list of texts under `key` in the standard user defaults' merged view,
// or nothing.
std::optional<std::vector<std::string>> MergedDefaultsList(std::string_view key);

}  // namespace rqb::apple
