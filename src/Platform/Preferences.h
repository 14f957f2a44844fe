// The host application's own preferences store.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace rqb {

// An entry that holds something other than text (a number, a list, ...).
struct NonTextPreference {
  bool operator==(const NonTextPreference&) const = default;
};

// What an entry of the store holds: text, or something else.
using PreferenceObject = std::variant<std::string, NonTextPreference>;

// A key-value store kept for the host application, shared with it. Called
// from any thread, concurrently; never throws. Keys and texts are UTF-8.
class Preferences {
 public:
  Preferences() = default;
  Preferences(const Preferences&) = delete;
  Preferences& operator=(const Preferences&) = delete;
  virtual ~Preferences() = default;

  // The entry under `key`, including changes not written yet; nothing when
  // there is none or the store cannot be read.
  virtual std::optional<PreferenceObject> ObjectForKey(std::string_view key) = 0;
  // Sets `key` to `value` at once for this process; Synchronize() writes it.
  virtual void SetString(std::string_view key, std::string_view value) = 0;
  // Writes the changes made so far to lasting storage now, keeping every
  // other entry. Returns whether they were written; unwritten changes stay
  // in force for this process and are tried again by the next call.
  virtual bool Synchronize() = 0;
  // The list of texts under `key` in the merged view: the application's own
  // entry, else the system-wide one (which holds, under "AppleKeyboards", the
  // keyboards the user set up). Nothing when neither holds a list of texts.
  virtual std::optional<std::vector<std::string>> MergedListForKey(std::string_view key) = 0;
};

}  // namespace rqb
