#include "FakePlatform.h"

#include <sys/wait.h>

#include <fstream>
#include <iterator>
#include <utility>

#include "Platform/linux/LinuxThreads.h"

namespace rqb::test {

// Records each data task with the configuration of its session.
struct RecordingSession final : UrlSession {
  RecordingSession(Recorded<RecordingUrlSessions::Task>& tasks,
                   UrlSessionConfiguration configuration)
      : tasks(tasks), configuration(std::move(configuration)) {}
  void StartDataTask(UrlRequest request, DataTaskCompletionHandler completion) override {
    tasks.Add({configuration, std::move(request), std::move(completion)});
  }

  Recorded<RecordingUrlSessions::Task>& tasks;
  const UrlSessionConfiguration configuration;
};

std::shared_ptr<UrlSession> RecordingUrlSessions::CreateSession(
    const UrlSessionConfiguration& configuration) {
  return std::make_shared<RecordingSession>(tasks_, configuration);
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

int ExitCodeOf(pid_t child) {
  int status = 0;
  if (waitpid(child, &status, 0) != child || !WIFEXITED(status)) return -1;
  return WEXITSTATUS(status);
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
