#include "Platform/linux/LinuxApplicationServices.h"

#include <cctype>
#include <vector>

#include "Platform/linux/LinuxEnvironment.h"

namespace rqb {
namespace {

std::string_view Trimmed(std::string_view text) {
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front()))) {
    text.remove_prefix(1);
  }
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) {
    text.remove_suffix(1);
  }
  return text;
}

std::vector<std::string> AssociationFiles() {
  std::vector<std::string> files;
  std::vector<std::string> config_dirs = XdgConfigDirs();
  config_dirs.insert(config_dirs.begin(), XdgConfigHome());
  for (const std::string& dir : config_dirs) {
    if (!dir.empty()) files.push_back(dir + "/mimeapps.list");
  }
  std::vector<std::string> data_dirs = XdgDataDirs();
  data_dirs.insert(data_dirs.begin(), XdgDataHome());
  for (const std::string& dir : data_dirs) {
    if (dir.empty()) continue;
    files.push_back(dir + "/applications/mimeapps.list");
    files.push_back(dir + "/applications/mimeinfo.cache");
  }
  return files;
}

}  // namespace

std::optional<std::string> UrlScheme(std::string_view url) {
  const std::size_t colon = url.find(':');
  if (colon == 0 || colon == std::string_view::npos) return std::nullopt;
  std::string scheme;
  for (const char c : url.substr(0, colon)) {
    const auto byte = static_cast<unsigned char>(c);
    const bool allowed = scheme.empty()
                             ? std::isalpha(byte) != 0
                             : std::isalnum(byte) != 0 || c == '+' || c == '-' || c == '.';
    if (!allowed || byte >= 0x80) return std::nullopt;
    scheme += static_cast<char>(std::tolower(byte));
  }
  return scheme;
}

bool AssociationsNameHandler(std::string_view associations, std::string_view mime_type) {
  bool in_handler_group = false;
  for (const std::string_view raw_line : SplitList(associations, '\n')) {
    const std::string_view line = Trimmed(raw_line);
    if (line.empty() || line.front() == '#') continue;
    if (line.front() == '[') {
      in_handler_group = line == "[Default Applications]" || line == "[Added Associations]" ||
                         line == "[MIME Cache]";
      continue;
    }
    const std::size_t equals = line.find('=');
    if (!in_handler_group || equals == std::string_view::npos) continue;
    if (Trimmed(line.substr(0, equals)) != mime_type) continue;
    for (const std::string_view application : SplitList(line.substr(equals + 1), ';')) {
      if (!Trimmed(application).empty()) return true;
    }
  }
  return false;
}

std::optional<std::string> LinuxApplicationServices::AdvertisingIdentifier() const {
  return std::nullopt;
}

bool LinuxApplicationServices::CanMakePayments() const { return false; }

bool LinuxApplicationServices::CanOpenUrl(const std::string& url) const {
  const std::optional<std::string> scheme = UrlScheme(url);
  if (!scheme) return false;
  const std::string mime_type = "x-scheme-handler/" + *scheme;
  for (const std::string& file : AssociationFiles()) {
    if (AssociationsNameHandler(ReadFileBytes(file, kMaxAssociationFileBytes), mime_type))
      return true;
  }
  return false;
}

}  // namespace rqb
