// What the Linux providers read from the process environment: where a user's
// files live (the XDG base directories) and the name under which this
// application keeps its own; and the small text helpers they share.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace rqb {

// $HOME, else the user's home from the password database; "" when neither
// names an absolute path.
std::string HomeDirectory();

// $XDG_CONFIG_HOME, else <home>/.config; "" without a home. A relative path
// in the variable is ignored, as the XDG base directory rules say.
std::string XdgConfigHome();
// $XDG_DATA_HOME, else <home>/.local/share; "" without a home.
std::string XdgDataHome();
// The absolute entries of $XDG_CONFIG_DIRS, else /etc/xdg.
std::vector<std::string> XdgConfigDirs();
// The absolute entries of $XDG_DATA_DIRS, else /usr/local/share and /usr/share.
std::vector<std::string> XdgDataDirs();

// The running program's short name (its executable's file name), which names
// the application's preferences file and vendor identifier.
std::string ApplicationName();

// The whole content of the file at `path`; "" when it cannot be read.
std::string ReadTextFile(const std::string& path);

// The parts of `text` between `separator`s, empty parts included; none for
// an empty text.
std::vector<std::string_view> SplitList(std::string_view text, char separator);

}  // namespace rqb
