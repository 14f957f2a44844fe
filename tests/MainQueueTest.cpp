#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "Platform/MainQueue.h"

namespace rqb {
namespace {

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

}  // namespace
}  // namespace rqb
