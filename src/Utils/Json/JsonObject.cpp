#include "Utils/Json/JsonObject.h"

#include <algorithm>
#include <utility>

#include "RQBehavior/RQBException.h"

namespace rqb {
namespace {

template <typename Value>
void Store(std::vector<JsonObject::Member>& members, const std::string& key, Value value) {
  const auto existing = std::find_if(members.begin(), members.end(),
                                     [&](const JsonObject::Member& m) { return m.key == key; });
  if (existing != members.end()) {
    existing->value = std::move(value);
  } else {
    members.push_back(JsonObject::Member{key, std::move(value)});
  }
}

}  // namespace

void JsonObject::Set(const std::string& key, std::optional<std::string> value) {
  if (!value) {
    // The platform's dictionary refuses nil with exactly this exception.
    throw RQBException("NSInvalidArgumentException",
                       "*** -[__NSDictionaryM setObject:forKey:]: object cannot be nil (key: " +
                           key + ")");
  }
  Store(members_, key, std::move(*value));
}

void JsonObject::Set(const std::string& key, JsonObject value) {
  Store(members_, key, std::move(value));
}

const std::string* JsonObject::FindText(std::string_view key) const {
  for (const Member& member : members_) {
    if (member.key == key) return std::get_if<std::string>(&member.value);
  }
  return nullptr;
}

}  // namespace rqb
