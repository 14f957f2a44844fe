// Checks on the raw bytes of a request body, made before it is parsed.
#pragma once

#include <cstddef>
#include <string_view>

namespace rqbservice {

// True when `text` is well-formed UTF-8: no overlong forms, no surrogates,
// nothing above U+10FFFF.
bool IsValidUtf8(std::string_view text);

// The deepest nesting of objects and arrays in a JSON text, brackets inside
// strings not counted. Stops counting once `limit` is passed, so a hostile
// body costs one linear scan.
std::size_t JsonNestingDepth(std::string_view json, std::size_t limit);

}  // namespace rqbservice
