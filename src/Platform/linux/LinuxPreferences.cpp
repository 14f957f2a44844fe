#include "Platform/linux/LinuxPreferences.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <utility>

#include "Platform/RunReadings.h"
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
    case FileContents::Status::kRead: {
      std::optional<JsonObjectText> object =
          JsonObjectText::Parse(std::move(file.bytes), kMaxNesting);
      store.state = object ? StoreState::kRead : StoreState::kCorrupt;
      if (object) store.object = std::move(*object);
      break;
    }
  }
  return store;
}

// The store as `owner` read it in this collection run: the run's collectors
// ask it for different entries, and each store is read once per run.
std::shared_ptr<const StoreFile> RunStore(const void* owner, const std::string& path) {
  return RunReadings::Shared<std::shared_ptr<const StoreFile>>(
      owner, [&] { return std::make_shared<const StoreFile>(ReadStore(path)); });
}

// Creates the folders of `path` that are missing, private to the user as
// the XDG base directory rules ask.
void MakeParentDirectories(const std::string& path) {
  for (std::size_t slash = path.find('/', 1); slash != std::string::npos;
       slash = path.find('/', slash + 1)) {
    mkdir(path.substr(0, slash).c_str(), 0700);
  }
}

std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : path.substr(0, slash == 0 ? 1 : slash);
}

bool WriteAndSync(int fd, std::string_view bytes) {
  return fchmod(fd, 0600) == 0 && WriteAll(fd, bytes) && fsync(fd) == 0;
}

// Writes `bytes` to a file without a name, which vanishes with the process
// if it dies before the end, and names it `temporary` once it is complete.
bool WriteUnnamedFile(const std::string& temporary, std::string_view bytes) {
  const ScopedFd fd(open(FolderOf(temporary).c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600));
  if (fd.get() < 0) return false;
  const std::string self = "/proc/self/fd/" + std::to_string(fd.get());
  return WriteAndSync(fd.get(), bytes) &&
         linkat(AT_FDCWD, self.c_str(), AT_FDCWD, temporary.c_str(), AT_SYMLINK_FOLLOW) == 0;
}

// The same for file systems without unnamed files (or without /proc).
bool WriteNamedFile(const std::string& temporary, std::string_view bytes) {
  const ScopedFd fd(
      open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (fd.get() < 0) return false;
  if (WriteAndSync(fd.get(), bytes)) return true;
  unlink(temporary.c_str());
  return false;
}

// Replaces the file at `path` with `bytes` in one step: readers see the old
// file or the new one, never a part. The temporary name "<path>.tmp" is
// fixed, which the store's lock makes safe: a file a dead process left under
// it is removed by the next write, so at most one can ever exist, and only if
// a process died between naming it and renaming it.
bool ReplaceFile(const std::string& path, std::string_view bytes) {
  const std::string temporary = path + ".tmp";
  unlink(temporary.c_str());
  if (!WriteUnnamedFile(temporary, bytes) && !WriteNamedFile(temporary, bytes)) return false;
  if (rename(temporary.c_str(), path.c_str()) != 0) {
    unlink(temporary.c_str());
    return false;
  }
  // Makes the rename itself last; a failure here loses nothing written.
  const ScopedFd folder(open(FolderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
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

LinuxPreferences::LinuxPreferences() : keyboard_configs_(KeyboardConfigFiles()) {}

LinuxPreferences::LinuxPreferences(std::string path, std::vector<std::string> keyboard_configs)
    : keyboard_configs_(std::move(keyboard_configs)), path_(std::move(path)) {}

std::vector<std::string> LinuxPreferences::KeyboardConfigFiles() {
  return {"/etc/default/keyboard", "/etc/vconsole.conf"};
}

const std::string& LinuxPreferences::Path() {
  if (!path_) path_ = DefaultPreferencesPath();
  return *path_;
}

std::optional<PreferenceObject> LinuxPreferences::ObjectForKey(std::string_view key) {
  std::lock_guard lock(mutex_);
  if (const auto found = pending_.find(key); found != pending_.end()) return found->second;
  const std::string& path = Path();
  if (path.empty()) return std::nullopt;
  const std::shared_ptr<const StoreFile> store = RunStore(this, path);
  const std::optional<std::string_view> found = store->object.Find(key);
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
  const std::string& path = Path();
  if (path.empty()) return false;
  MakeParentDirectories(path);
  const ScopedFd lock_file(
      open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_NONBLOCK | O_CLOEXEC, 0600));
  if (lock_file.get() < 0) return false;
  while (flock(lock_file.get(), LOCK_EX) != 0) {
    if (errno != EINTR) return false;
  }
  StoreFile store = ReadStore(path);
  if (store.state == StoreState::kUnreadable) return false;
  for (const auto& [key, value] : pending_) store.object.SetString(key, value);
  // A file this large would read back as corrupt and be set aside.
  if (store.object.text().size() > kMaxPreferencesFileBytes) return false;
  if (store.state == StoreState::kCorrupt &&
      rename(path.c_str(), (path + ".corrupt").c_str()) != 0) {
    return false;
  }
  if (!ReplaceFile(path, store.object.text())) return false;
  RunReadings::Forget(this);
  pending_.clear();
  return true;
}

std::optional<std::vector<std::string>> LinuxPreferences::MergedListForKey(std::string_view key) {
  {
    std::lock_guard lock(mutex_);
    // The application's own entry hides the system-wide one, whatever it holds.
    if (pending_.contains(key)) return std::nullopt;
    if (const std::string& path = Path(); !path.empty()) {
      const std::shared_ptr<const StoreFile> store = RunStore(this, path);
      if (const std::optional<std::string_view> found = store->object.Find(key)) {
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
