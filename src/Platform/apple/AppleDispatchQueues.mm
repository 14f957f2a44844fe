// The two queues of the library's work: the background-priority global
// concurrent queue for collection runs, and the main queue.
#include <dispatch/dispatch.h>

#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "Platform/LogSink.h"
#include "Platform/MainQueue.h"
#include "Platform/TaskExecutor.h"
#include "Platform/apple/AppleBridge.h"
#include "Platform/apple/AppleProviders.h"

namespace rqb::apple {
namespace {

// Runs one submitted task inside its own autorelease pool, so that the
// objects a collection run makes are released when the run ends, not when
// the worker thread happens to drain.
void RunTask(void* context) {
  const std::unique_ptr<std::function<void()>> task(static_cast<std::function<void()>*>(context));
  @autoreleasepool {
    try {
      (*task)();
    } catch (const std::exception& exception) {
      // A task's own handler had nothing to say about this; the host must
      // not go down for it.
      LogMessage(exception.what());
    }
  }
}

void SubmitTo(dispatch_queue_t queue, std::function<void()> task) {
  dispatch_async_f(queue, new std::function<void()>(std::move(task)), RunTask);
}

class BackgroundQueue final : public TaskExecutor {
 public:
  // The pool of threads behind the global queues is the system's, shared with
  // the host and bounded: a burst of runs waits in the queue for it rather
  // than starting threads of its own.
  void Submit(std::function<void()> task) override {
    SubmitTo(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_BACKGROUND, 0), std::move(task));
  }
};

// The system's main queue serves itself whenever the main thread's run loop
// turns: nothing waits for a host to drain it.
class DispatchMainQueue final : public MainQueue {
 public:
  void Submit(std::function<void()> task) override {
    SubmitTo(dispatch_get_main_queue(), std::move(task));
  }
  std::size_t Drain() override { return 0; }
  void SetWakeHandler(std::function<void()>) override {}
};

}  // namespace

TaskExecutor* NewBackgroundQueue() { return new BackgroundQueue(); }
MainQueue* NewMainQueue() { return new DispatchMainQueue(); }

}  // namespace rqb::apple
