#include "Platform/linux/LinuxPreferences.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <nlohmann/json.hpp>
#include <utility>

#include "Platform/linux/LinuxEnvironment.h"
#include "Platform/linux/OsRelease.h"
#include "Utils/Text/Utf8.h"

namespace rqb {
namespace {

using Json = nlohmann::json;

// How deep a store file may nest arrays and objects, so that a hostile file
// cannot overflow the parser's stack.
constexpr int kMaxNesting = 32;

enum class StoreState { kMissing, kUnreadable, kCorrupt, kRead };

struct StoreFile {
  StoreState state = StoreState::kMissing;
  Json object = Json::object();
};

// A file descriptor closed when it goes out of scope.
class ScopedFd {
 public:
  explicit ScopedFd(int fd) : fd_(fd) {}
  ~ScopedFd() {
    if (fd_ >= 0) close(fd_);
  }
  ScopedFd(const ScopedFd&) = delete;
  ScopedFd& operator=(const ScopedFd&) = delete;
  int get() const { return fd_; }

 private:
  int fd_;
};

bool WriteAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t n = write(fd, bytes.data(), bytes.size());
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(n));
  }
  return true;
}

bool NestsTooDeeply(std::string_view text) {
  int depth = 0;
  bool in_string = false;
  bool escaped = false;
  for (const char c : text) {
    if (in_string) {
      if (escaped) {
        escaped = false;
      } else if (c == '\\') {
        escaped = true;
      } else if (c == '"') {
        in_string = false;
      }
    } else if (c == '"') {
      in_string = true;
    } else if (c == '{' || c == '[') {
      if (++depth > kMaxNesting) return true;
    } else if (c == '}' || c == ']') {
      --depth;
    }
  }
  return false;
}

StoreFile ReadStore(const std::string& path) {
  StoreFile store;
  const FileContents file = ReadBoundedFile(path, kMaxPreferencesFileBytes);
  if (file.status == FileContents::Status::kMissing) return store;
  if (file.status == FileContents::Status::kUnreadable) {
    store.state = StoreState::kUnreadable;
    return store;
  }
  store.state = StoreState::kCorrupt;
  if (file.status == FileContents::Status::kTooLarge || NestsTooDeeply(file.bytes)) return store;
  Json parsed = Json::parse(file.bytes, nullptr, /*allow_exceptions=*/false);
  if (!parsed.is_object()) return store;
  store.state = StoreState::kRead;
  store.object = std::move(parsed);
  return store;
}

// Creates the folders of `path` that are missing, private to the user as
// the XDG base directory rules ask.
void MakeParentDirectories(const std::string& path) {
  for (std::size_t slash = path.find('/', 1); slash != std::string::npos;
       slash = path.find('/', slash + 1)) {
    mkdir(path.substr(0, slash).c_str(), 0700);
  }
}

// Replaces the file at `path` with `bytes` in one step: readers see the old
// file or the new one, never a part.
bool ReplaceFile(const std::string& path, std::string_view bytes) {
  std::string temporary = path + ".XXXXXX";
  const int fd = mkostemp(temporary.data(), O_CLOEXEC);
  if (fd < 0) return false;
  bool written = fchmod(fd, 0600) == 0 && WriteAll(fd, bytes) && fsync(fd) == 0;
  written = close(fd) == 0 && written;
  if (!written || rename(temporary.c_str(), path.c_str()) != 0) {
    unlink(temporary.c_str());
    return false;
  }
  // Makes the rename itself last; a failure here loses nothing written.
  const std::size_t slash = path.rfind('/');
  const ScopedFd folder(
      open(path.substr(0, slash == 0 ? 1 : slash).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder.get() >= 0) fsync(folder.get());
  return true;
}

std::optional<std::vector<std::string>> TextList(const Json& value) {
  if (!value.is_array()) return std::nullopt;
  std::vector<std::string> texts;
  for (const Json& element : value) {
    if (!element.is_string()) return std::nullopt;
    texts.push_back(element.get<std::string>());
  }
  return texts;
}

}  // namespace

std::optional<std::vector<std::string>> KeyboardLayouts(std::string_view keyboard_config) {
  const std::string layouts = OsReleaseValue(keyboard_config, "XKBLAYOUT");
  const std::string variants = OsReleaseValue(keyboard_config, "XKBVARIANT");
  // Layouts become text in the profile; bytes that are not UTF-8 set none.
  if (layouts.empty() || !IsValidUtf8(layouts) || !IsValidUtf8(variants)) return std::nullopt;
  const std::vector<std::string_view> variant_list = SplitList(variants, ',');
  std::vector<std::string> keyboards;
  const std::vector<std::string_view> layout_list = SplitList(layouts, ',');
  for (std::size_t i = 0; i < layout_list.size(); ++i) {
    if (layout_list[i].empty()) continue;
    std::string keyboard(layout_list[i]);
    if (i < variant_list.size() && !variant_list[i].empty()) {
      keyboard.append("(").append(variant_list[i]).append(")");
    }
    keyboards.push_back(std::move(keyboard));
  }
  return keyboards;
}

std::string DefaultPreferencesPath() {
  const std::string config = XdgConfigHome();
  return config.empty() ? "" : config + "/rqbehavior/" + ApplicationName() + ".json";
}

LinuxPreferences::LinuxPreferences(std::string path, std::vector<std::string> keyboard_configs)
    : path_(std::move(path)), keyboard_configs_(std::move(keyboard_configs)) {}

std::optional<PreferenceObject> LinuxPreferences::ObjectForKey(std::string_view key) {
  std::lock_guard lock(mutex_);
  if (const auto found = pending_.find(key); found != pending_.end()) return found->second;
  if (path_.empty()) return std::nullopt;
  const StoreFile store = ReadStore(path_);
  const auto found = store.object.find(key);
  if (found == store.object.end()) return std::nullopt;
  if (found->is_string()) return found->get<std::string>();
  return NonTextPreference{};
}

void LinuxPreferences::SetString(std::string_view key, std::string_view value) {
  std::lock_guard lock(mutex_);
  pending_.insert_or_assign(std::string(key), std::string(value));
}

bool LinuxPreferences::Synchronize() {
  std::lock_guard lock(mutex_);
  if (pending_.empty()) return true;
  if (path_.empty()) return false;
  MakeParentDirectories(path_);
  const ScopedFd lock_file(open((path_ + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  if (lock_file.get() < 0) return false;
  while (flock(lock_file.get(), LOCK_EX) != 0) {
    if (errno != EINTR) return false;
  }
  StoreFile store = ReadStore(path_);
  if (store.state == StoreState::kUnreadable) return false;
  if (store.state == StoreState::kCorrupt &&
      rename(path_.c_str(), (path_ + ".corrupt").c_str()) != 0) {
    return false;
  }
  for (const auto& [key, value] : pending_) store.object[key] = value;
  const std::string bytes =
      store.object.dump(2, ' ', /*ensure_ascii=*/false, Json::error_handler_t::replace) + "\n";
  if (!ReplaceFile(path_, bytes)) return false;
  pending_.clear();
  return true;
}

std::optional<std::vector<std::string>> LinuxPreferences::MergedListForKey(std::string_view key) {
  {
    std::lock_guard lock(mutex_);
    // The application's own entry hides the system-wide one, whatever it holds.
    if (pending_.contains(key)) return std::nullopt;
    if (!path_.empty()) {
      const StoreFile store = ReadStore(path_);
      if (const auto found = store.object.find(key); found != store.object.end()) {
        return TextList(*found);
      }
    }
  }
  if (key != "AppleKeyboards") return std::nullopt;
  for (const std::string& config : keyboard_configs_) {
    if (auto keyboards = KeyboardLayouts(ReadFileBytes(config, kMaxSettingsFileBytes))) {
      return keyboards;
    }
  }
  return std::nullopt;
}

}  // namespace rqb
