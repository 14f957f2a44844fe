// UTF-8 checks shared by the library's entry points and its JSON writer, and
// the conversions to and from the UTF-16 code units of Objective-C strings.
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

// UTF-16 code units (as an NSString holds them) as UTF-8. A lone surrogate
// has no UTF-8 form, so a text holding one becomes absent, as text that is
// not UTF-8 does where the library takes UTF-8.
std::optional<std::string> Utf16ToUtf8(std::u16string_view units);

// Well-formed UTF-8 as UTF-16 code units; each byte that begins no
// well-formed sequence becomes U+FFFD.
std::u16string Utf8ToUtf16(std::string_view text);

}  // namespace rqb
