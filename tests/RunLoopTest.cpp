// The library's own main queue, per-thread run loop and notification center:
// when work runs, and on which thread.
#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Platform/MainQueue.h"
#include "Platform/NotificationCenter.h"
#include "Platform/Platform.h"
#include "Platform/RunLoop.h"

namespace rqb {
namespace {

using namespace std::chrono_literals;

// A safety net only: every test stops its loop itself long before.
std::chrono::steady_clock::time_point Soon() { return std::chrono::steady_clock::now() + 20s; }

TEST(RunLoop, TasksAndSourcesRunInOrderOnlyWhileTheLoopRunsUntilRemoved) {
  const std::shared_ptr<RunLoop> loop = RunLoop::Current();
  const int event = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  std::vector<std::string> ran;
  const RunLoop::SourceId source = loop->AddDescriptorSource(event, [&] {
    eventfd_t count;
    eventfd_read(event, &count);
    ran.push_back("source");
    loop->Stop();
  });
  std::thread([&] {
    for (const char* task : {"task 1", "task 2"}) {
      loop->Post([&, task] { ran.push_back(task); });
    }
    eventfd_write(event, 1);
  }).join();
  EXPECT_TRUE(ran.empty());
  EXPECT_TRUE(loop->RunUntil(Soon()));
  EXPECT_EQ(ran, (std::vector<std::string>{"task 1", "task 2", "source"}));

  EXPECT_TRUE(loop->RemoveSource(source));
  EXPECT_FALSE(loop->RemoveSource(source)) << "still registered";
  eventfd_write(event, 1);
  EXPECT_FALSE(loop->RunUntil(std::chrono::steady_clock::now() + 100ms)) << "a removed source ran";
  close(event);
}

// Signals hand a source work that another thread found: they must wake a
// running loop, wait for a loop that is not running, and run the callback
// once however often they came.
TEST(RunLoop, ASignalledSourceRunsOnceAtTheNextTurnWithoutReadableDescriptor) {
  const std::shared_ptr<RunLoop> loop = RunLoop::Current();
  const int never_readable = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  int calls = 0;
  const RunLoop::SourceId source = loop->AddDescriptorSource(never_readable, [&] {
    ++calls;
    loop->Stop();
  });
  loop->SignalSource(source);
  loop->SignalSource(source);
  EXPECT_EQ(calls, 0) << "ran outside the loop";
  EXPECT_TRUE(loop->RunUntil(Soon())) << "a signal made before the run was lost";
  EXPECT_FALSE(loop->RunUntil(std::chrono::steady_clock::now() + 100ms)) << "ran twice";
  EXPECT_EQ(calls, 1);

  std::thread signaller([&] {
    std::this_thread::sleep_for(50ms);
    loop->SignalSource(source);
  });
  EXPECT_TRUE(loop->RunUntil(Soon())) << "a signal did not wake the running loop";
  signaller.join();
  EXPECT_TRUE(loop->RemoveSource(source));
  loop->SignalSource(source);
  EXPECT_FALSE(loop->RunUntil(std::chrono::steady_clock::now() + 100ms)) << "a removed source ran";
  EXPECT_EQ(calls, 2);
  close(never_readable);
}

TEST(RunLoop, TheMainThreadsLoopServesTheMainQueueOnlyWhileItRuns) {
  // gtest runs test bodies on the process's main thread.
  DrainableMainQueue main_queue;
  const ScopedPlatformOverride in_force(Platform{.main_queue = &main_queue});
  const std::shared_ptr<RunLoop> loop = RunLoop::Current();

  std::atomic<std::thread::id> served_on;
  main_queue.Submit([&] { served_on = std::this_thread::get_id(); });
  std::thread([] { RunLoop::Current()->RunUntil(std::chrono::steady_clock::now() + 50ms); }).join();
  EXPECT_EQ(served_on.load(), std::thread::id()) << "served by another thread's loop";

  // A submission while the main loop waits wakes it.
  std::thread submitter([&] {
    while (!loop->IsRunning()) std::this_thread::yield();
    std::this_thread::sleep_for(50ms);  // until the loop has served the queue and waits
    main_queue.Submit([&] { loop->Stop(); });
  });
  const auto deadline = Soon();
  EXPECT_TRUE(loop->RunUntil(deadline));
  EXPECT_LT(std::chrono::steady_clock::now(), deadline) << "the submission did not wake the loop";
  submitter.join();
  EXPECT_EQ(served_on.load(), std::this_thread::get_id());
}

TEST(MainQueue, RunsTasksInOrderOnTheServingThreadOnlyWhenServed) {
  DrainableMainQueue queue;
  std::vector<int> ran;
  std::thread::id ran_on;
  std::thread([&] {
    for (int i = 0; i < 3; ++i) {
      queue.Submit([&, i] {
        ran.push_back(i);
        ran_on = std::this_thread::get_id();
        if (i == 2) queue.Submit([&] { ran.push_back(3); });  // waits for the next Drain()
      });
    }
  }).join();
  EXPECT_TRUE(ran.empty());
  EXPECT_EQ(queue.Drain(), 3u);
  EXPECT_EQ(ran, (std::vector<int>{0, 1, 2}));
  EXPECT_EQ(ran_on, std::this_thread::get_id());
  EXPECT_EQ(queue.Drain(), 1u);
}

TEST(NotificationCenter, CallsObserversOfTheNameInOrderOnThePostingThreadWithTheObject) {
  NotificationCenter center;
  std::vector<std::pair<std::string, std::thread::id>> calls;
  int sender = 0;
  center.AddObserver("changed", [&](const Notification& n) {
    EXPECT_EQ(n.object, &sender);
    calls.emplace_back(std::string(n.name) + " first", std::this_thread::get_id());
  });
  center.AddObserver("other",
                     [&](const Notification&) { calls.emplace_back("other", std::thread::id()); });
  center.AddObserver("changed", [&](const Notification&) {
    calls.emplace_back("second", std::this_thread::get_id());
  });
  std::thread poster([&] { center.Post("changed", &sender); });
  const std::thread::id poster_id = poster.get_id();
  poster.join();
  EXPECT_EQ(calls, (decltype(calls){{"changed first", poster_id}, {"second", poster_id}}));
}

}  // namespace
}  // namespace rqb
