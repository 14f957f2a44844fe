#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include "FakePlatform.h"
#include "Platform/ThreadPool.h"

namespace rqb {
namespace {

// A burst runs on the pool's threads, however many tasks it holds; when the
// system refuses threads after the first, that one runs them all.
TEST(ThreadPool, ABurstOfTasksRunsOnAtMostItsThreadsEvenWhenFurtherThreadsAreRefused) {
  for (const int allowed : {4, 1}) {
    SCOPED_TRACE(allowed);
    std::mutex mutex;
    std::set<std::thread::id> threads;
    std::atomic<int> ran = 0;
    std::atomic<int> asked = 0;
    {
      ThreadPool pool(4, [&](std::function<void()> body) {
        if (++asked > allowed)
          return std::make_error_code(std::errc::resource_unavailable_try_again);
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
    EXPECT_LE(threads.size(), static_cast<std::size_t>(allowed));
    // No more threads asked for than the pool holds; with one allowed, the
    // further ones were asked for and refused.
    EXPECT_EQ(asked > allowed, allowed == 1) << asked << " threads asked for";
  }
}

// The host's thread pays for one thread at most: every further worker is
// started by a worker, as a spare while it is busy.
TEST(ThreadPool, TheSubmitterStartsOneWorkerAndWorkersStartTheOthers) {
  std::mutex mutex;
  std::vector<std::thread::id> starters;
  const auto start = [&](std::function<void()> body) {
    {
      std::lock_guard lock(mutex);
      starters.push_back(std::this_thread::get_id());
    }
    return test::StartTestThread(std::move(body));
  };
  std::atomic<bool> gate_closed = true;
  std::atomic<int> blocked = 0;
  {
    ThreadPool pool(4, start);
    for (int i = 0; i < 6; ++i) {
      pool.Submit([&] {
        ++blocked;
        while (gate_closed) std::this_thread::sleep_for(std::chrono::milliseconds(1));
      });
    }
    while (blocked < 4) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    gate_closed = false;
  }
  std::lock_guard lock(mutex);
  ASSERT_EQ(starters.size(), 4u);
  EXPECT_EQ(starters.front(), std::this_thread::get_id());
  for (std::size_t i = 1; i < starters.size(); ++i) {
    EXPECT_NE(starters[i], std::this_thread::get_id()) << "worker " << i;
  }
}

// Two tasks submitted back to back to a fresh pool run side by side: the
// second never waits for the first to finish, however long that takes.
TEST(ThreadPool, ATaskSubmittedWhileTheOnlyWorkerIsBusyRunsWithoutWaitingForIt) {
  std::atomic<bool> second_ran = false;
  std::atomic<bool> first_saw_second = false;
  {
    ThreadPool pool(4, test::StartTestThread);
    pool.Submit([&] {
      const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(20);
      while (!second_ran && std::chrono::steady_clock::now() < give_up) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
      first_saw_second = second_ran.load();
    });
    pool.Submit([&] { second_ran = true; });
  }
  EXPECT_TRUE(first_saw_second) << "the second task waited for the first";
}

// A task that ends its own thread (as pthread_exit from a host's callback
// does) costs the pool that worker only: the tasks behind it still run.
TEST(ThreadPool, TasksStillRunAfterATaskEndsItsThread) {
  std::atomic<int> ran = 0;
  {
    ThreadPool pool(1, test::StartTestThread);
    pool.Submit([] { pthread_exit(nullptr); });
    for (int i = 0; i < 3; ++i) pool.Submit([&] { ++ran; });
  }
  EXPECT_EQ(ran, 3);
}

}  // namespace
}  // namespace rqb
