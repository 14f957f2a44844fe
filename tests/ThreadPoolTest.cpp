#include "Platform/ThreadPool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <set>
#include <thread>

#include "FakePlatform.h"

namespace rqb {
namespace {

TEST(ThreadPool, ABurstOfTasksRunsOnAtMostItsThreads) {
  std::mutex mutex;
  std::set<std::thread::id> threads;
  std::atomic<int> ran = 0;
  std::atomic<int> started = 0;
  {
    ThreadPool pool(4, [&](std::function<void()> body) {
      ++started;
      return test::StartTestThread(std::move(body));
    });
    for (int i = 0; i < 2000; ++i) {
      pool.Submit([&] {
        std::lock_guard lock(mutex);
        threads.insert(std::this_thread::get_id());
        ++ran;
      });
    }
  }  // the destructor runs what was queued
  EXPECT_EQ(ran, 2000);
  EXPECT_LE(threads.size(), 4u);
  EXPECT_LE(started, 4);
}

}  // namespace
}  // namespace rqb
