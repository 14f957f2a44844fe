#include "profile/Utf8.h"

namespace rqbservice {

bool IsValidUtf8(std::string_view text) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
  const std::size_t size = text.size();
  std::size_t i = 0;
  while (i < size) {
    const unsigned char lead = bytes[i];
    if (lead < 0x80) {
      ++i;
      continue;
    }
    std::size_t length = 0;
    unsigned char low = 0x80, high = 0xBF;  // allowed range of the second byte
    if (lead >= 0xC2 && lead <= 0xDF) {
      length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
      length = 3;
      if (lead == 0xE0) low = 0xA0;   // overlong
      if (lead == 0xED) high = 0x9F;  // surrogates
    } else if (lead >= 0xF0 && lead <= 0xF4) {
      length = 4;
      if (lead == 0xF0) low = 0x90;   // overlong
      if (lead == 0xF4) high = 0x8F;  // above U+10FFFF
    } else {
      return false;
    }
    if (size - i < length) return false;
    if (bytes[i + 1] < low || bytes[i + 1] > high) return false;
    for (std::size_t k = 2; k < length; ++k) {
      if ((bytes[i + k] & 0xC0) != 0x80) return false;
    }
    i += length;
  }
  return true;
}

std::size_t JsonNestingDepth(std::string_view json, std::size_t limit) {
  std::size_t depth = 0, deepest = 0;
  bool in_string = false, escaped = false;
  for (const char c : json) {
    if (in_string) {
      if (escaped) {
        escaped = false;
      } else if (c == '\\') {
        escaped = true;
      } else if (c == '"') {
        in_string = false;
      }
      continue;
    }
    if (c == '"') {
      in_string = true;
    } else if (c == '{' || c == '[') {
      if (++depth > deepest) deepest = depth;
      if (deepest > limit) return deepest;
    } else if ((c == '}' || c == ']') && depth > 0) {
      --depth;
    }
  }
  return deepest;
}

}  // namespace rqbservice
