// The per-thread run loop: when work runs, on which thread, and how it ends.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

#include "Platform/MainQueue.h"
#include "Platform/Platform.h"
#include "Platform/RunLoop.h"

namespace rqb {
namespace {

using namespace std::chrono_literals;

// A safety net only: every test stops its loop itself long before.
std::chrono::steady_clock::time_point Soon() { return std::chrono::steady_clock::now() + 20s; }

class Pipe {
 public:
  Pipe() { EXPECT_EQ(pipe(fds_), 0); }
  ~Pipe() {
    close(fds_[0]);
    close(fds_[1]);
  }
  int read_end() const { return fds_[0]; }
  void WriteByte() { ASSERT_EQ(write(fds_[1], "x", 1), 1); }
  void ReadByte() {
    char byte;
    ASSERT_EQ(read(fds_[0], &byte, 1), 1);
  }

 private:
  int fds_[2] = {-1, -1};
};

TEST(RunLoop, PostedTasksRunInOrderOnTheLoopsThreadOnlyWhileItRuns) {
  const std::shared_ptr<RunLoop> loop = RunLoop::Current();
  std::vector<int> ran;
  std::vector<std::thread::id> ran_on;
  std::thread poster([&] {
    for (int i = 0; i < 3; ++i) {
      loop->Post([&, i] {
        ran.push_back(i);
        ran_on.push_back(std::this_thread::get_id());
      });
    }
    loop->Post([&] { loop->Stop(); });
  });
  poster.join();
  EXPECT_TRUE(ran.empty());

  EXPECT_TRUE(loop->RunUntil(Soon()));
  EXPECT_EQ(ran, (std::vector<int>{0, 1, 2}));
  EXPECT_EQ(ran_on, std::vector<std::thread::id>(3, std::this_thread::get_id()));
  EXPECT_FALSE(loop->IsRunning());
}

TEST(RunLoop, ADescriptorSourceFiresWhileTheLoopRunsUntilRemoved) {
  const std::shared_ptr<RunLoop> loop = RunLoop::Current();
  Pipe pipe;
  int calls = 0;
  const RunLoop::SourceId source = loop->AddDescriptorSource(pipe.read_end(), [&] {
    pipe.ReadByte();
    ++calls;
    loop->Stop();
  });
  ASSERT_NE(source, 0u);
  pipe.WriteByte();
  EXPECT_EQ(calls, 0);
  EXPECT_TRUE(loop->RunUntil(Soon()));
  EXPECT_EQ(calls, 1);

  EXPECT_TRUE(loop->RemoveSource(source));
  EXPECT_FALSE(loop->RemoveSource(source));
  pipe.WriteByte();
  loop->Post([&] { loop->Stop(); });
  EXPECT_TRUE(loop->RunUntil(Soon()));
  EXPECT_EQ(calls, 1);
}

TEST(RunLoop, RemovingASourceFromAnotherThreadWaitsForItsCallbackToEnd) {
  Pipe pipe;
  std::promise<std::shared_ptr<RunLoop>> loop_of_thread;
  std::promise<void> callback_entered;
  std::promise<void> release_callback;
  std::atomic<bool> callback_done = false;
  std::atomic<RunLoop::SourceId> source = 0;

  std::thread runner([&] {
    const std::shared_ptr<RunLoop> loop = RunLoop::Current();
    source = loop->AddDescriptorSource(pipe.read_end(), [&] {
      pipe.ReadByte();
      callback_entered.set_value();
      release_callback.get_future().wait();
      callback_done = true;
    });
    loop_of_thread.set_value(loop);
    loop->Run();
  });
  const std::shared_ptr<RunLoop> loop = loop_of_thread.get_future().get();
  pipe.WriteByte();
  callback_entered.get_future().wait();

  std::thread remover([&] {
    EXPECT_TRUE(loop->RemoveSource(source));
    EXPECT_TRUE(callback_done) << "RemoveSource returned while the callback still ran";
  });
  release_callback.set_value();
  remover.join();
  loop->Stop();
  runner.join();
}

TEST(RunLoop, AStopFromAnotherThreadIsNeverLost) {
  const std::shared_ptr<RunLoop> loop = RunLoop::Current();
  // Requested before the run: the next run returns at once.
  std::thread([&] { loop->Stop(); }).join();
  EXPECT_TRUE(loop->RunUntil(Soon()));

  // Requested while the loop waits with nothing to do.
  std::thread stopper([&] {
    while (!loop->IsRunning()) std::this_thread::yield();
    loop->Stop();
  });
  EXPECT_TRUE(loop->RunUntil(Soon()));
  stopper.join();
}

TEST(RunLoop, StopEndsOnlyTheInnermostOfNestedRuns) {
  const std::shared_ptr<RunLoop> loop = RunLoop::Current();
  std::vector<std::string> steps;
  loop->Post([&] {
    loop->Post([&] {
      steps.push_back("inner task");
      loop->Stop();
    });
    steps.push_back(loop->RunUntil(Soon()) ? "inner stopped" : "inner timed out");
    loop->Post([&] { loop->Stop(); });
  });
  EXPECT_TRUE(loop->RunUntil(Soon()));
  EXPECT_EQ(steps, (std::vector<std::string>{"inner task", "inner stopped"}));
}

TEST(RunLoop, TheMainThreadsLoopServesTheMainQueueOnlyWhileItRuns) {
  // gtest runs test bodies on the process's main thread.
  MainQueue main_queue;
  Platform platform;
  platform.main_queue = &main_queue;
  ScopedPlatformOverride in_force(platform);
  const std::shared_ptr<RunLoop> loop = RunLoop::Current();

  std::atomic<std::thread::id> served_on;
  main_queue.Submit([&] { served_on = std::this_thread::get_id(); });
  std::thread([] { RunLoop::Current()->RunUntil(std::chrono::steady_clock::now() + 50ms); }).join();
  EXPECT_EQ(served_on.load(), std::thread::id()) << "served by another thread's loop";

  // A submission while the main loop waits wakes it.
  std::thread submitter([&] {
    while (!loop->IsRunning()) std::this_thread::yield();
    main_queue.Submit([&] { loop->Stop(); });
  });
  EXPECT_TRUE(loop->RunUntil(Soon()));
  submitter.join();
  EXPECT_EQ(served_on.load(), std::this_thread::get_id());

  // Once the loop is left, submissions wait for the next run.
  bool late = false;
  main_queue.Submit([&] { late = true; });
  EXPECT_FALSE(late);
  EXPECT_EQ(main_queue.Drain(), 1u);
}

}  // namespace
}  // namespace rqb
