#include "FakePlatform.h"

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

std::error_code StartTestThread(std::function<void()> body) {
  return StartLibraryThread("rqb-test", ThreadPriority::kInherited, std::move(body));
}

PlatformTest::PlatformTest() {
  fakes_.emplace(Platform{.log = &log_,
                          .background_queue = &background_,
                          .url_sessions = &sessions_,
                          .classes = &classes_});
}

}  // namespace rqb::test
