#include "Utils/Text/Utf8.h"

#include <cstdint>

namespace rqb {
namespace {

// Length of the sequence that starts at text[i], or 0 when it is malformed.
std::size_t SequenceLength(std::string_view text, std::size_t i) {
  const auto byte = [&](std::size_t k) { return static_cast<std::uint8_t>(text[k]); };
  const std::uint8_t lead = byte(i);
  if (lead < 0x80) return 1;
  std::size_t length;
  std::uint8_t min_second = 0x80, max_second = 0xBF;
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    if (lead == 0xE0) min_second = 0xA0;  // overlong
    if (lead == 0xED) max_second = 0x9F;  // surrogates
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    if (lead == 0xF0) min_second = 0x90;  // overlong
    if (lead == 0xF4) max_second = 0x8F;  // above U+10FFFF
  } else {
    return 0;
  }
  if (i + length > text.size()) return 0;
  if (byte(i + 1) < min_second || byte(i + 1) > max_second) return 0;
  for (std::size_t k = 2; k < length; ++k) {
    if ((byte(i + k) & 0xC0) != 0x80) return 0;
  }
  return length;
}

}  // namespace

bool IsValidUtf8(std::string_view text) {
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t length = SequenceLength(text, i);
    if (length == 0) return false;
    i += length;
  }
  return true;
}

std::size_t Utf16Length(std::string_view text) {
  std::size_t units = 0;
  for (const char c : text) {
    const auto byte = static_cast<std::uint8_t>(c);
    if ((byte & 0xC0) != 0x80) ++units;  // one per lead byte
    if (byte >= 0xF0) ++units;           // four-byte sequences need a surrogate pair
  }
  return units;
}

std::optional<std::string> TextOrNil(std::optional<std::string> text) {
  if (text && !IsValidUtf8(*text)) return std::nullopt;
  return text;
}

std::optional<std::string> Utf16ToUtf8(std::u16string_view units) {
  std::string text;
  text.reserve(units.size());
  for (std::size_t i = 0; i < units.size(); ++i) {
    char32_t code_point = units[i];
    if (code_point >= 0xD800 && code_point <= 0xDFFF) {
      const bool pair = code_point <= 0xDBFF && i + 1 < units.size() && units[i + 1] >= 0xDC00 &&
                        units[i + 1] <= 0xDFFF;
      if (!pair) return std::nullopt;
      code_point = 0x10000 + ((code_point - 0xD800) << 10) + (units[++i] - 0xDC00);
    }
    if (code_point < 0x80) {
      text += static_cast<char>(code_point);
    } else if (code_point < 0x800) {
      text += static_cast<char>(0xC0 | (code_point >> 6));
      text += static_cast<char>(0x80 | (code_point & 0x3F));
    } else if (code_point < 0x10000) {
      text += static_cast<char>(0xE0 | (code_point >> 12));
      text += static_cast<char>(0x80 | ((code_point >> 6) & 0x3F));
      text += static_cast<char>(0x80 | (code_point & 0x3F));
    } else {
      text += static_cast<char>(0xF0 | (code_point >> 18));
      text += static_cast<char>(0x80 | ((code_point >> 12) & 0x3F));
      text += static_cast<char>(0x80 | ((code_point >> 6) & 0x3F));
      text += static_cast<char>(0x80 | (code_point & 0x3F));
    }
  }
  return text;
}

std::u16string Utf8ToUtf16(std::string_view text) {
  std::u16string units;
  units.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t length = SequenceLength(text, i);
    if (length == 0) {
      units += u'\uFFFD';
      ++i;
      continue;
    }
    char32_t code_point = static_cast<std::uint8_t>(text[i]);
    if (length > 1) code_point &= 0x7F >> length;
    for (std::size_t k = 1; k < length; ++k) {
      code_point = (code_point << 6) | (static_cast<std::uint8_t>(text[i + k]) & 0x3F);
    }
    if (code_point >= 0x10000) {
      units += static_cast<char16_t>(0xD800 + ((code_point - 0x10000) >> 10));
      units += static_cast<char16_t>(0xDC00 + ((code_point - 0x10000) & 0x3FF));
    } else {
      units += static_cast<char16_t>(code_point);
    }
    i += length;
  }
  return units;
}

}  // namespace rqb
