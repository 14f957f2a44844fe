#include "FakePlatform.h"

#include <utility>

namespace rqb::test {

void RecordingLog::Write(std::string_view message) {
  // Notified under the lock: a waiter may destroy this object once it wakes.
  std::lock_guard lock(mutex_);
  lines_.emplace_back(message);
  written_.notify_all();
}

std::vector<std::string> RecordingLog::Lines() const {
  std::lock_guard lock(mutex_);
  return lines_;
}

bool RecordingLog::WaitForLines(std::size_t count, std::chrono::milliseconds timeout) const {
  std::unique_lock lock(mutex_);
  return written_.wait_for(lock, timeout, [&] { return lines_.size() >= count; });
}

void ManualExecutor::Submit(std::function<void()> task) {
  std::lock_guard lock(mutex_);
  tasks_.push_back(std::move(task));
}

std::size_t ManualExecutor::Pending() const {
  std::lock_guard lock(mutex_);
  return tasks_.size();
}

std::size_t ManualExecutor::RunAll() {
  std::size_t ran = 0;
  for (;;) {
    std::function<void()> task;
    {
      std::lock_guard lock(mutex_);
      if (tasks_.empty()) return ran;
      task = std::move(tasks_.front());
      tasks_.pop_front();
    }
    task();
    ++ran;
  }
}

class RecordingSession final : public UrlSession {
 public:
  RecordingSession(RecordingUrlSessions& owner, UrlSessionConfiguration configuration)
      : owner_(owner), configuration_(configuration) {}
  void StartDataTask(UrlRequest request, DataTaskCompletionHandler completion) override {
    owner_.Record({configuration_, std::move(request), std::move(completion)});
  }

 private:
  RecordingUrlSessions& owner_;
  UrlSessionConfiguration configuration_;
};

std::shared_ptr<UrlSession> RecordingUrlSessions::CreateSession(
    const UrlSessionConfiguration& configuration) {
  return std::make_shared<RecordingSession>(*this, configuration);
}

void RecordingUrlSessions::Record(Task task) {
  std::lock_guard lock(mutex_);
  tasks_.push_back(std::move(task));
  recorded_.notify_all();
}

std::vector<RecordingUrlSessions::Task> RecordingUrlSessions::Tasks() const {
  std::lock_guard lock(mutex_);
  return tasks_;
}

bool RecordingUrlSessions::WaitForTasks(std::size_t count,
                                        std::chrono::milliseconds timeout) const {
  std::unique_lock lock(mutex_);
  return recorded_.wait_for(lock, timeout, [&] { return tasks_.size() >= count; });
}

class ObservedSession final : public UrlSession {
 public:
  ObservedSession(ObservedUrlSessions& owner, std::shared_ptr<UrlSession> inner)
      : owner_(owner), inner_(std::move(inner)) {}
  void StartDataTask(UrlRequest request, DataTaskCompletionHandler completion) override {
    inner_->StartDataTask(std::move(request),
                          [&owner = owner_, completion = std::move(completion)](
                              std::optional<std::string> data, std::optional<UrlResponse> response,
                              std::optional<UrlError> error) {
                            completion(std::move(data), std::move(response), std::move(error));
                            owner.Completed();
                          });
  }

 private:
  ObservedUrlSessions& owner_;
  std::shared_ptr<UrlSession> inner_;
};

std::shared_ptr<UrlSession> ObservedUrlSessions::CreateSession(
    const UrlSessionConfiguration& configuration) {
  return std::make_shared<ObservedSession>(*this, inner_.CreateSession(configuration));
}

void ObservedUrlSessions::Completed() {
  std::lock_guard lock(mutex_);
  ++completions_;
  completed_.notify_all();
}

bool ObservedUrlSessions::WaitForCompletions(std::size_t count,
                                             std::chrono::milliseconds timeout) const {
  std::unique_lock lock(mutex_);
  return completed_.wait_for(lock, timeout, [&] { return completions_ >= count; });
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

PlatformTest::PlatformTest() {
  Platform fakes;
  fakes.log = &log_;
  fakes.background_queue = &background_;
  fakes.url_sessions = &sessions_;
  fakes.classes = &classes_;
  fakes_.emplace(fakes);
}

}  // namespace rqb::test
