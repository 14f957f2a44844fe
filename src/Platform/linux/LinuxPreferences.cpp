#include "Platform/linux/LinuxPreferences.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <utility>

#include "Platform/linux/JsonObjectText.h"
#include "Platform/linux/LinuxEnvironment.h"
#include "Platform/linux/OsRelease.h"
#include "Utils/Text/Utf8.h"

namespace rqb {
namespace {

// How deep a store file may nest arrays and objects: the reader recurses
// once per level, so a hostile file must not reach the stack's end.
constexpr int kMaxNesting = 32;

enum class StoreState { kMissing, kUnreadable, kCorrupt, kRead };

struct StoreFile {
  StoreState state = StoreState::kMissing;
  // The file's object when `state` is kRead; an empty one otherwise.
  JsonObjectText object;
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

StoreFile ReadStore(const std::string& path) {
  StoreFile store;
  FileContents file = ReadBoundedFile(path, kMaxPreferencesFileBytes);
  switch (file.status) {
    case FileContents::Status::kMissing:
      store.state = StoreState::kMissing;
      break;
    case FileContents::Status::kUnreadable:
      store.state = StoreState::kUnreadable;
      break;
    case FileContents::Status::kTooLarge:
      store.state = StoreState::kCorrupt;
      break;
    case FileContents::Status::kRead:
      std::optional<JsonObjectText> object =
          JsonObjectText::Parse(std::move(file.bytes), kMaxNesting);
      store.state = object ? StoreState::kRead : StoreState::kCorrupt;
      if (object) store.object = std::move(*object);
      break;
  }
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
  const std::optional<std::string_view> found = store.object.Find(key);
  if (!found) return std::nullopt;
  if (std::optional<std::string> text = DecodeJsonString(*found)) return std::move(*text);
  return NonTextPreference{};
}

void LinuxPreferences::SetString(std::string_view key, std::string_view value) {
  // The file is UTF-8 JSON; bytes that are not UTF-8 would make it corrupt.
  if (!IsValidUtf8(key) || !IsValidUtf8(value)) return;
  std::lock_guard lock(mutex_);
  pending_.insert_or_assign(std::string(key), std::string(value));
}

bool LinuxPreferences::Synchronize() {
  std::lock_guard lock(mutex_);
  if (pending_.empty()) return true;
  if (path_.empty()) return false;
  MakeParentDirectories(path_);
  const ScopedFd lock_file(
      open((path_ + ".lock").c_str(), O_RDWR | O_CREAT | O_NONBLOCK | O_CLOEXEC, 0600));
  if (lock_file.get() < 0) return false;
  while (flock(lock_file.get(), LOCK_EX) != 0) {
    if (errno != EINTR) return false;
  }
  StoreFile store = ReadStore(path_);
  if (store.state == StoreState::kUnreadable) return false;
  for (const auto& [key, value] : pending_) store.object.SetString(key, value);
  // A file this large would read back as corrupt and be set aside.
  if (store.object.text().size() > kMaxPreferencesFileBytes) return false;
  if (store.state == StoreState::kCorrupt &&
      rename(path_.c_str(), (path_ + ".corrupt").c_str()) != 0) {
    return false;
  }
  if (!ReplaceFile(path_, store.object.text())) return false;
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
      if (const std::optional<std::string_view> found = store.object.Find(key)) {
        return DecodeJsonStringArray(*found);
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
