// The in-memory form of the device profile: a string-keyed object whose values
// are texts or nested objects, the shapes the profile is built from.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace rqb {

// A mutable dictionary that keeps its members in insertion order. Setting an
// existing key replaces its value in place. Like the platform's mutable
// dictionary, it refuses an absent value with an exception.
class JsonObject {
 public:
  struct Member;

  JsonObject() = default;

  // Stores `value` under `key`. Throws RQBException named
  // "NSInvalidArgumentException" when `value` is absent.
  void Set(const std::string& key, std::optional<std::string> value);
  void Set(const std::string& key, JsonObject value);

  std::size_t size() const;
  bool empty() const;
  const std::vector<Member>& members() const { return members_; }

  // The text stored under `key`, if the key holds a text.
  const std::string* FindText(std::string_view key) const;

 private:
  std::vector<Member> members_;
};

struct JsonObject::Member {
  std::string key;
  std::variant<std::string, JsonObject> value;
};

// Defined once Member is complete: the vector's size needs it.
inline std::size_t JsonObject::size() const { return members_.size(); }
inline bool JsonObject::empty() const { return members_.empty(); }

}  // namespace rqb
