// A JSON object kept as its text, so that changing one member leaves every
// other byte as it was.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace rqb {

// The text of one JSON object (RFC 8259) with the places of its top-level
// members. A general JSON library would re-encode what it reads: a number
// such as 12345678901234567890123 would lose digits, 1E2 and -0 would change
// form, and a duplicate name or a lone surrogate escape (valid JSON, though
// not valid text) would be dropped or refused. Here nothing is re-encoded:
// SetString() splices one member into the text and leaves the rest alone.
class JsonObjectText {
 public:
  // The text "{}\n": an object without members.
  JsonObjectText();

  // The object that `text` holds, with whitespace around it; nothing when
  // `text` is not UTF-8, not valid JSON, not an object, or nests arrays and
  // objects deeper than `max_depth` (the object itself being the first
  // level). A UTF-8 byte order mark before it is allowed and kept.
  static std::optional<JsonObjectText> Parse(std::string text, int max_depth);

  // The value of the member named `name`, as written (a string value with
  // its quotes and escapes). Of duplicate names the last counts, as with
  // most JSON readers. Names are compared as the text their escapes stand for.
  std::optional<std::string_view> Find(std::string_view name) const;

  // Sets the member named `name` (the last, of duplicates) to the JSON string
  // of `value`, or adds it after the last member, spaced like that member.
  // `name` and `value` must be UTF-8.
  void SetString(std::string_view name, std::string_view value);

  const std::string& text() const { return text_; }

 private:
  struct Member {
    // The name as text; nothing when its escapes stand for no valid text.
    std::optional<std::string> name;
    std::size_t name_begin = 0;
    std::size_t value_begin = 0;
    std::size_t value_end = 0;
  };

  // Finds the members of text_; false when it holds no valid object.
  bool Index();
  const Member* FindMember(std::string_view name) const;

  std::string text_;
  std::size_t open_ = 0;   // the object's "{"
  std::size_t close_ = 0;  // the object's "}"
  int max_depth_ = 1;
  std::vector<Member> members_;
};

// The text of a JSON string value written as `raw` (quotes included);
// nothing when `raw` is not a string, or its escapes stand for no valid
// UTF-8 text (a lone surrogate such as "\ud800").
std::optional<std::string> DecodeJsonString(std::string_view raw);

// The texts of a JSON array written as `raw` whose elements are all strings
// that DecodeJsonString() decodes; nothing otherwise.
std::optional<std::vector<std::string>> DecodeJsonStringArray(std::string_view raw);

// `text` (UTF-8) as a JSON string: quotes, backslashes and control
// characters escaped, everything else as it is.
std::string EncodeJsonString(std::string_view text);

}  // namespace rqb
