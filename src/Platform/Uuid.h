// Random UUIDs in the platform's canonical text form.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace rqb {

// The version-4 UUID made of `random`: upper-case hexadecimal in groups of
// 8-4-4-4-12, with the version and variant bits set.
std::string FormatUuidV4(std::array<std::uint8_t, 16> random);

// A new random version-4 UUID text, made by the current platform.
std::string NewUuidString();

}  // namespace rqb
