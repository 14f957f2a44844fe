#include "Platform/MainQueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace rqb {
namespace {

TEST(MainQueue, RunsTasksOnlyWhenServedInOrderOnTheServingThread) {
  MainQueue queue;
  std::vector<int> ran;
  std::thread::id ran_on;
  std::thread submitter([&] {
    for (int i = 0; i < 3; ++i) {
      queue.Submit([&ran, &ran_on, i] {
        ran.push_back(i);
        ran_on = std::this_thread::get_id();
      });
    }
  });
  submitter.join();
  EXPECT_TRUE(ran.empty());
  EXPECT_EQ(queue.Drain(), 3u);
  EXPECT_EQ(ran, (std::vector<int>{0, 1, 2}));
  EXPECT_EQ(ran_on, std::this_thread::get_id());
}

TEST(MainQueue, TasksQueuedWhileDrainingWaitForTheNextDrain) {
  MainQueue queue;
  int ran = 0;
  queue.Submit([&] {
    ++ran;
    queue.Submit([&] { ++ran; });
  });
  EXPECT_EQ(queue.Drain(), 1u);
  EXPECT_EQ(ran, 1);
  EXPECT_EQ(queue.Drain(), 1u);
  EXPECT_EQ(ran, 2);
}

TEST(MainQueue, WakesItsServerOnEverySubmit) {
  MainQueue queue;
  std::atomic<int> wakes = 0;
  queue.SetWakeHandler([&] { ++wakes; });
  queue.Submit([] {});
  queue.Submit([] {});
  EXPECT_EQ(wakes, 2);
  queue.SetWakeHandler(nullptr);
  queue.Submit([] {});
  EXPECT_EQ(wakes, 2);
}

}  // namespace
}  // namespace rqb
