#include "Platform/linux/JsonObjectText.h"

#include <cstdint>
#include <cstdio>
#include <utility>

#include "Utils/Text/Utf8.h"

namespace rqb {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
// JSON's one-letter escapes and the characters they stand for.
constexpr std::string_view kEscapeLetters = "\"\\/bfnrt";
constexpr std::string_view kEscapedCharacters = "\"\\/\b\f\n\r\t";

bool IsJsonSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

bool IsHighSurrogate(std::uint32_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }

bool IsLowSurrogate(std::uint32_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

void AppendUtf8(std::string& out, std::uint32_t code_point) {
  const auto byte = [&](std::uint32_t b) { out += static_cast<char>(b); };
  if (code_point < 0x80) {
    byte(code_point);
  } else if (code_point < 0x800) {
    byte(0xC0 | (code_point >> 6));
    byte(0x80 | (code_point & 0x3F));
  } else if (code_point < 0x10000) {
    byte(0xE0 | (code_point >> 12));
    byte(0x80 | ((code_point >> 6) & 0x3F));
    byte(0x80 | (code_point & 0x3F));
  } else {
    byte(0xF0 | (code_point >> 18));
    byte(0x80 | ((code_point >> 12) & 0x3F));
    byte(0x80 | ((code_point >> 6) & 0x3F));
    byte(0x80 | (code_point & 0x3F));
  }
}

// Walks JSON text along RFC 8259's grammar. The text must be UTF-8 already,
// so that only the grammar is left to check.
class Reader {
 public:
  explicit Reader(std::string_view text, std::size_t position = 0)
      : text_(text), position_(position) {}

  std::size_t position() const { return position_; }
  bool AtEnd() const { return position_ == text_.size(); }
  bool Peek(char c) const { return position_ < text_.size() && text_[position_] == c; }
  bool Take(char c) {
    if (!Peek(c)) return false;
    ++position_;
    return true;
  }
  void SkipSpace() {
    while (position_ < text_.size() && IsJsonSpace(text_[position_])) ++position_;
  }

  // One value, in which arrays and objects may nest `depth_left` levels.
  bool Value(int depth_left) {
    if (AtEnd()) return false;
    switch (text_[position_]) {
      case '{':
        return Container('}', depth_left);
      case '[':
        return Container(']', depth_left);
      case '"':
        return String(nullptr);
      case 't':
        return Word("true");
      case 'f':
        return Word("false");
      case 'n':
        return Word("null");
      default:
        return Number();
    }
  }

  // One string. When `decoded` is given it receives the text the string
  // stands for, or nothing when an escape stands for a lone surrogate.
  bool String(std::optional<std::string>* decoded) {
    if (!Take('"')) return false;
    std::string text;
    bool valid = true;
    std::uint32_t high = 0;  // a high surrogate waiting for its low half
    for (;;) {
      if (AtEnd()) return false;
      const char c = text_[position_++];
      if (c == '"') break;
      if (static_cast<unsigned char>(c) < 0x20) return false;
      std::uint32_t unit = static_cast<unsigned char>(c);
      if (c == '\\') {
        if (AtEnd()) return false;
        const char letter = text_[position_++];
        if (letter == 'u') {
          if (!HexUnit(unit)) return false;
        } else if (const std::size_t i = kEscapeLetters.find(letter); i != std::string_view::npos) {
          unit = static_cast<unsigned char>(kEscapedCharacters[i]);
        } else {
          return false;
        }
      }
      if (high != 0 && IsLowSurrogate(unit)) {
        AppendUtf8(text, 0x10000 + ((high - 0xD800) << 10) + (unit - 0xDC00));
        high = 0;
        continue;
      }
      if (high != 0) valid = false;
      high = 0;
      if (IsHighSurrogate(unit)) {
        high = unit;
      } else if (IsLowSurrogate(unit)) {
        valid = false;
      } else if (c == '\\') {
        AppendUtf8(text, unit);
      } else {
        text += c;  // a byte of UTF-8 as it stands
      }
    }
    if (decoded != nullptr) {
      *decoded = valid && high == 0 ? std::optional(std::move(text)) : std::nullopt;
    }
    return true;
  }

 private:
  bool Container(char close, int depth_left) {
    if (depth_left <= 0) return false;
    ++position_;
    SkipSpace();
    if (Take(close)) return true;
    for (;;) {
      if (close == '}') {
        if (!String(nullptr)) return false;
        SkipSpace();
        if (!Take(':')) return false;
        SkipSpace();
      }
      if (!Value(depth_left - 1)) return false;
      SkipSpace();
      if (Take(close)) return true;
      if (!Take(',')) return false;
      SkipSpace();
    }
  }

  bool Word(std::string_view word) {
    if (text_.substr(position_, word.size()) != word) return false;
    position_ += word.size();
    return true;
  }

  bool Digits() {
    const std::size_t start = position_;
    while (!AtEnd() && IsDigit(text_[position_])) ++position_;
    return position_ > start;
  }

  // -?(0|[1-9][0-9]*)(\.[0-9]+)?([eE][+-]?[0-9]+)?, kept as written whatever
  // its magnitude or precision.
  bool Number() {
    Take('-');
    if (!Take('0')) {
      if (AtEnd() || text_[position_] < '1' || text_[position_] > '9') return false;
      Digits();
    }
    if (Take('.') && !Digits()) return false;
    if (Take('e') || Take('E')) {
      if (!Take('+')) Take('-');
      if (!Digits()) return false;
    }
    return true;
  }

  bool HexUnit(std::uint32_t& unit) {
    unit = 0;
    for (int i = 0; i < 4; ++i) {
      if (AtEnd()) return false;
      const char c = text_[position_++];
      unit <<= 4;
      if (IsDigit(c)) {
        unit |= static_cast<std::uint32_t>(c - '0');
      } else if (c >= 'a' && c <= 'f') {
        unit |= static_cast<std::uint32_t>(c - 'a' + 10);
      } else if (c >= 'A' && c <= 'F') {
        unit |= static_cast<std::uint32_t>(c - 'A' + 10);
      } else {
        return false;
      }
    }
    return true;
  }

  std::string_view text_;
  std::size_t position_;
};

}  // namespace

JsonObjectText::JsonObjectText() : text_("{}\n"), close_(1) {}

std::optional<JsonObjectText> JsonObjectText::Parse(std::string text, int max_depth) {
  JsonObjectText object;
  object.text_ = std::move(text);
  object.max_depth_ = max_depth;
  if (!object.Index()) return std::nullopt;
  return object;
}

bool JsonObjectText::Index() {
  members_.clear();
  if (max_depth_ < 1 || !IsValidUtf8(text_)) return false;
  Reader reader(text_, text_.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0);
  reader.SkipSpace();
  open_ = reader.position();
  if (!reader.Take('{')) return false;
  reader.SkipSpace();
  while (!reader.Peek('}')) {
    if (!members_.empty()) {
      if (!reader.Take(',')) return false;
      reader.SkipSpace();
    }
    Member member;
    member.name_begin = reader.position();
    if (!reader.String(&member.name)) return false;
    reader.SkipSpace();
    if (!reader.Take(':')) return false;
    reader.SkipSpace();
    member.value_begin = reader.position();
    if (!reader.Value(max_depth_ - 1)) return false;
    member.value_end = reader.position();
    members_.push_back(std::move(member));
    reader.SkipSpace();
  }
  close_ = reader.position();
  reader.Take('}');
  reader.SkipSpace();
  return reader.AtEnd();
}

const JsonObjectText::Member* JsonObjectText::FindMember(std::string_view name) const {
  for (auto member = members_.rbegin(); member != members_.rend(); ++member) {
    if (member->name == name) return &*member;
  }
  return nullptr;
}

std::optional<std::string_view> JsonObjectText::Find(std::string_view name) const {
  const Member* member = FindMember(name);
  if (member == nullptr) return std::nullopt;
  return std::string_view(text_).substr(member->value_begin,
                                        member->value_end - member->value_begin);
}

void JsonObjectText::SetString(std::string_view name, std::string_view value) {
  const std::string encoded = EncodeJsonString(value);
  if (const Member* member = FindMember(name)) {
    text_.replace(member->value_begin, member->value_end - member->value_begin, encoded);
  } else if (members_.empty()) {
    text_.replace(open_, close_ + 1 - open_,
                  "{\n  " + EncodeJsonString(name) + ": " + encoded + "\n}");
  } else {
    // The new member is spaced as the last one is from what precedes it:
    // "\n  " in a pretty file, nothing in a compact one.
    const Member& last = members_.back();
    std::size_t space = last.name_begin;
    while (space > open_ + 1 && IsJsonSpace(text_[space - 1])) --space;
    std::string added = ",";
    added.append(text_, space, last.name_begin - space);
    added.append(EncodeJsonString(name)).append(": ").append(encoded);
    text_.insert(last.value_end, added);
  }
  // A string adds no depth, so the text stays valid; only the places moved.
  Index();
}

std::optional<std::string> DecodeJsonString(std::string_view raw) {
  if (!IsValidUtf8(raw)) return std::nullopt;
  Reader reader(raw);
  std::optional<std::string> text;
  if (!reader.String(&text) || !reader.AtEnd()) return std::nullopt;
  return text;
}

std::optional<std::vector<std::string>> DecodeJsonStringArray(std::string_view raw) {
  if (!IsValidUtf8(raw)) return std::nullopt;
  Reader reader(raw);
  if (!reader.Take('[')) return std::nullopt;
  std::vector<std::string> texts;
  reader.SkipSpace();
  while (!reader.Peek(']')) {
    if (!texts.empty()) {
      if (!reader.Take(',')) return std::nullopt;
      reader.SkipSpace();
    }
    std::optional<std::string> text;
    if (!reader.String(&text) || !text) return std::nullopt;
    texts.push_back(std::move(*text));
    reader.SkipSpace();
  }
  reader.Take(']');
  return reader.AtEnd() ? std::optional(std::move(texts)) : std::nullopt;
}

std::string EncodeJsonString(std::string_view text) {
  std::string out = "\"";
  for (const char c : text) {
    // "/" needs no escape, and is left as it is.
    const std::size_t escape = c == '/' ? std::string_view::npos : kEscapedCharacters.find(c);
    if (escape != std::string_view::npos) {
      out += '\\';
      out += kEscapeLetters[escape];
    } else if (static_cast<unsigned char>(c) < 0x20) {
      char code[7];
      std::snprintf(code, sizeof code, "\\u%04x", static_cast<unsigned>(c));
      out += code;
    } else {
      out += c;
    }
  }
  out += '"';
  return out;
}

}  // namespace rqb
