#include "Platform/ThreadPool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <mutex>
#include <set>
#include <thread>

namespace rqb {
namespace {

TEST(ThreadPool, ABurstOfTasksRunsOnAtMostItsThreads) {
  std::mutex mutex;
  std::set<std::thread::id> threads;
  std::atomic<int> ran = 0;
  std::atomic<int> started = 0;
  {
    ThreadPool pool(4, [&] { ++started; });
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

TEST(ThreadPool, TasksRunConcurrently) {
  ThreadPool pool(2, nullptr);
  std::latch both_running(2);
  std::latch done(2);
  for (int i = 0; i < 2; ++i) {
    pool.Submit([&] {
      both_running.arrive_and_wait();  // deadlocks unless both run at once
      done.count_down();
    });
  }
  done.wait();
}

}  // namespace
}  // namespace rqb
