#include "FakePlatform.h"

#include <fstream>
#include <iterator>
#include <utility>

#include "Platform/linux/LinuxThreads.h"

namespace rqb::test {

// Hands every data task to `start`.
class ForwardingSession final : public UrlSession {
 public:
  explicit ForwardingSession(std::function<void(UrlRequest, DataTaskCompletionHandler)> start)
      : start_(std::move(start)) {}
  void StartDataTask(UrlRequest request, DataTaskCompletionHandler completion) override {
    start_(std::move(request), std::move(completion));
  }

 private:
  std::function<void(UrlRequest, DataTaskCompletionHandler)> start_;
};

std::shared_ptr<UrlSession> RecordingUrlSessions::CreateSession(
    const UrlSessionConfiguration& configuration) {
  return std::make_shared<ForwardingSession>(
      [this, configuration](UrlRequest request, DataTaskCompletionHandler completion) {
        tasks_.Add({configuration, std::move(request), std::move(completion)});
      });
}

void FakeClassLookup::Register(std::string name, Factory factory) {
  std::lock_guard lock(mutex_);
  factories_[std::move(name)] = std::move(factory);
}

std::unique_ptr<RQBDataHelper> FakeClassLookup::CreateDataHelper(
    std::string_view class_name) const {
  std::lock_guard lock(mutex_);
  const auto found = factories_.find(class_name);
  return found != factories_.end() ? found->second() : nullptr;
}

std::string FileText(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

std::error_code StartTestThread(std::function<void()> body) {
  return StartLibraryThread("rqb-test", ThreadPriority::kInherited, std::move(body));
}

std::multimap<std::string, std::filesystem::path> LibraryThreadTasks() {
  std::multimap<std::string, std::filesystem::path> tasks;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    std::string name;
    std::getline(std::ifstream(task.path() / "comm"), name);
    if (name.starts_with("rqb-")) tasks.emplace(name, task.path());
  }
  return tasks;
}

}  // namespace rqb::test
