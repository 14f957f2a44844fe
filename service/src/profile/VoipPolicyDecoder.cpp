#include "profile/FragmentDecoders.h"

namespace rqbservice {
namespace {

struct Member {
  std::size_t name_end;   // the quote closing the name
  std::size_t value_end;  // past "true" or "false"
  bool allows;
};

// The first `": true` or `": false` after `from` that ends the text or is
// followed by the next member's `, "`: names are unescaped, so a quote alone
// does not end one.
std::optional<Member> NextMember(std::string_view inner, std::size_t from) {
  for (std::size_t at = inner.find("\": ", from); at != std::string_view::npos;
       at = inner.find("\": ", at + 1)) {
    const std::string_view rest = inner.substr(at + 3);
    for (const bool allows : {true, false}) {
      const std::string_view word = allows ? "true" : "false";
      if (!rest.starts_with(word)) continue;
      const std::string_view after = rest.substr(word.size());
      if (after.empty() || after.starts_with(", \"")) {
        return Member{at, at + 3 + word.size(), allows};
      }
    }
  }
  return std::nullopt;
}

}  // namespace

std::optional<nlohmann::json> DecodeVoipPolicy(std::string_view text) {
  nlohmann::json policy = nlohmann::json::array();
  if (text == "{}") return policy;
  if (text.size() < 4 || !text.starts_with("{ \"") || !text.ends_with(" }")) return std::nullopt;
  const std::string_view inner = text.substr(2, text.size() - 4);
  std::size_t at = 0;  // at a member's opening quote
  while (at < inner.size()) {
    if (inner[at] != '"') return std::nullopt;
    const auto member = NextMember(inner, at + 1);
    if (!member) return std::nullopt;
    const std::string_view name = inner.substr(at + 1, member->name_end - at - 1);
    policy.push_back({{"carrier", name == "(null)" ? nlohmann::json() : nlohmann::json(name)},
                      {"allowsVoip", member->allows}});
    at = member->value_end;
    if (at < inner.size()) at += 2;  // ", "
  }
  return policy;
}

}  // namespace rqbservice
