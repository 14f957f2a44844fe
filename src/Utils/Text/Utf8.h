// UTF-8 checks shared by the library's entry points and its JSON writer.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace rqb {

// Whether `text` is well-formed UTF-8: no stray or missing continuation
// bytes, no overlong forms, no surrogates, nothing above U+10FFFF.
bool IsValidUtf8(std::string_view text);

// Length of well-formed UTF-8 `text` in UTF-16 code units, the unit in which
// the platform counts string lengths (characters above U+FFFF count two).
std::size_t Utf16Length(std::string_view text);

// Text as it enters the library: text that is not well-formed UTF-8 cannot
// exist as a platform string, so it becomes absent.
std::optional<std::string> TextOrNil(std::optional<std::string> text);

}  // namespace rqb
