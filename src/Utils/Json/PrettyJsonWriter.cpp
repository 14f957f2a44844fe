#include "Utils/Json/PrettyJsonWriter.h"

#include <variant>

#include "Utils/Text/Utf8.h"

namespace rqb {
namespace {

// Whether `c` is written as itself inside a JSON string.
bool IsPlain(char c) {
  return static_cast<unsigned char>(c) >= 0x20 && c != '"' && c != '\\' && c != '/';
}

bool AppendString(std::string& out, const std::string& text) {
  if (!IsValidUtf8(text)) return false;
  static constexpr char kHex[] = "0123456789abcdef";
  out += '"';
  for (std::size_t next = 0; next < text.size();) {
    // Runs of characters written as they are go in whole.
    std::size_t plain = next;
    while (plain < text.size() && IsPlain(text[plain])) ++plain;
    out.append(text, next, plain - next);
    if (plain == text.size()) break;
    const char c = text[plain];
    next = plain + 1;
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '/':
        out += "\\/";
        break;
      case '\b':
        out += "\\b";
        break;
      case '\f':
        out += "\\f";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\t':
        out += "\\t";
        break;
      default:
        out += "\\u00";
        out += kHex[(c >> 4) & 0xF];
        out += kHex[c & 0xF];
    }
  }
  out += '"';
  return true;
}

bool AppendObject(std::string& out, const JsonObject& object, int depth) {
  const std::string closing_indent(2 * depth, ' ');
  const std::string member_indent(2 * (depth + 1), ' ');
  out += "{\n";
  if (object.empty()) {
    // The platform leaves one empty line inside an empty object.
    out += '\n';
  }
  bool first = true;
  for (const JsonObject::Member& member : object.members()) {
    if (!first) out += ",\n";
    first = false;
    out += member_indent;
    if (!AppendString(out, member.key)) return false;
    out += " : ";
    const bool written = std::holds_alternative<std::string>(member.value)
                             ? AppendString(out, std::get<std::string>(member.value))
                             : AppendObject(out, std::get<JsonObject>(member.value), depth + 1);
    if (!written) return false;
  }
  if (!object.empty()) out += '\n';
  out += closing_indent;
  out += '}';
  return true;
}

}  // namespace

std::optional<std::string> WritePrettyJson(const JsonObject& object) {
  std::string out;
  out.reserve(4096);  // a device profile's size: written without growing
  if (!AppendObject(out, object, 0)) return std::nullopt;
  return out;
}

}  // namespace rqb
