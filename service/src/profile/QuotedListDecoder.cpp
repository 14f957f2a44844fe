#include "profile/FragmentDecoders.h"

namespace rqbservice {

std::optional<std::vector<std::string>> DecodeQuotedList(std::string_view text) {
  std::vector<std::string> elements;
  if (text == "[]") return elements;
  if (text.size() < 4 || !text.starts_with("[\"") || !text.ends_with("\"]")) return std::nullopt;
  // Elements are joined by `","`; a name that itself holds `","` cannot be
  // told apart from two names, and is read as two.
  std::string_view inner = text.substr(2, text.size() - 4);
  constexpr std::string_view kSeparator = "\",\"";
  for (;;) {
    const std::size_t end = inner.find(kSeparator);
    elements.emplace_back(inner.substr(0, end));
    if (end == std::string_view::npos) break;
    inner.remove_prefix(end + kSeparator.size());
  }
  return elements;
}

}  // namespace rqbservice
