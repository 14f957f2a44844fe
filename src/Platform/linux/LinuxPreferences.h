// The application's preferences on Linux: one JSON file per application.
#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/ForkGate.h"
#include "Platform/Preferences.h"

namespace rqb {

// The keyboard layouts that a keyboard configuration file (Debian's
// /etc/default/keyboard, systemd's /etc/vconsole.conf) sets up, in XKB's
// "layout(variant)" notation: XKBLAYOUT="us,de" with XKBVARIANT=",nodeadkeys"
// gives "us" and "de(nodeadkeys)". Nothing when the file sets no layout, or
// sets layouts or variants that are not UTF-8.
std::optional<std::vector<std::string>> KeyboardLayouts(std::string_view keyboard_config);

// $XDG_CONFIG_HOME/rqbehavior/<ApplicationName()>.json; "" without a home.
std::string DefaultPreferencesPath();

// A JSON object in the file at `path`, one member per entry; string members
// are text entries, and every other member (or a string whose escapes stand
// for no valid text, such as a lone surrogate) reads as non-text. Of
// duplicate names the last counts. A write changes only the members it sets
// (the last of duplicates) or adds them; every other byte of the file stays
// as it was, numbers and escapes as written. The file is written whole: a
// new file in the same folder, fsync, rename over the old one, mode 0600,
// under an exclusive flock(2) on "<path>.lock" so that processes sharing the
// file never lose each other's entries. The new file has no name until it is
// complete, so a process that dies while writing leaves nothing behind. Reads
// take the file as it stands, which rename keeps whole.
//
// A file that is not a JSON object (or is over kMaxPreferencesFileBytes, or
// nested deeper than 32 levels) reads as empty, and the next write first
// renames it to "<path>.corrupt", so its bytes are kept for whoever can
// repair them. A file that exists but cannot be read, or is no regular file,
// also reads as empty, and is never replaced: writes fail until it can be read.
// Within one collection run (RunReadings) the file is read once, until a
// write.
//
// The merged view's system-wide part holds one entry, "AppleKeyboards": the
// KeyboardLayouts() of the first of `keyboard_configs` that sets a layout.
class LinuxPreferences final : public Preferences {
 public:
  // The application's own file, DefaultPreferencesPath(), found on first use
  // rather than here: finding the home may read the password database.
  LinuxPreferences();
  explicit LinuxPreferences(std::string path,
                            std::vector<std::string> keyboard_configs = KeyboardConfigFiles());

  // Debian's and systemd's keyboard configuration files, in that order.
  static std::vector<std::string> KeyboardConfigFiles();

  std::optional<PreferenceObject> ObjectForKey(std::string_view key) override;
  // A key or text that is not UTF-8 cannot be stored and is ignored.
  void SetString(std::string_view key, std::string_view value) override;
  bool Synchronize() override;
  std::optional<std::vector<std::string>> MergedListForKey(std::string_view key) override;

 private:
  // Under mutex_: the file's path, found on first use when none was given.
  const std::string& Path();

  const std::vector<std::string> keyboard_configs_;
  ForkSafeMutex mutex_;
  std::optional<std::string> path_;  // guarded by mutex_
  // Texts set but not yet written, by key.
  std::map<std::string, std::string, std::less<>> pending_;  // guarded by mutex_
};

}  // namespace rqb
