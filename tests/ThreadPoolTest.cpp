#include <gtest/gtest.h>

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
      ThreadPool pool(
          4,
          [&](std::function<void()> body) {
            if (++asked > allowed)
              return std::make_error_code(std::errc::resource_unavailable_try_again);
            return test::StartTestThread(std::move(body));
          },
          std::chrono::milliseconds(0));
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
// started by a worker, as a spare while it is busy, or for tasks that wait
// behind workers that are blocked.
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
    ThreadPool pool(4, start, std::chrono::milliseconds(0));
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

}  // namespace
}  // namespace rqb
