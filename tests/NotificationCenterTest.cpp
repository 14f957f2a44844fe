// Named notifications: who is called, on which thread, and removal.
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "Platform/NotificationCenter.h"

namespace rqb {
namespace {

TEST(NotificationCenter, CallsObserversOfTheNameInOrderOnThePostingThreadWithTheObject) {
  NotificationCenter center;
  std::vector<std::string> calls;
  int sender = 0;
  center.AddObserver("changed", [&](const Notification& n) {
    calls.push_back("first " + std::string(n.name));
    EXPECT_EQ(n.object, &sender);
  });
  center.AddObserver("other", [&](const Notification&) { calls.push_back("other"); });
  center.AddObserver("changed", [&](const Notification&) { calls.push_back("second"); });

  std::thread::id called_on;
  center.AddObserver("changed",
                     [&](const Notification&) { called_on = std::this_thread::get_id(); });
  std::thread poster([&] { center.Post("changed", &sender); });
  const std::thread::id poster_id = poster.get_id();
  poster.join();
  EXPECT_EQ(calls, (std::vector<std::string>{"first changed", "second"}));
  EXPECT_EQ(called_on, poster_id);
}

TEST(NotificationCenter, ARemovedObserverIsNotCalledAndMayRemoveItselfWhileCalled) {
  NotificationCenter center;
  int once_calls = 0;
  int kept_calls = 0;
  NotificationCenter::ObserverId once = 0;
  once = center.AddObserver("changed", [&](const Notification&) {
    ++once_calls;
    center.RemoveObserver(once);
  });
  const NotificationCenter::ObserverId kept =
      center.AddObserver("changed", [&](const Notification&) { ++kept_calls; });
  center.Post("changed", nullptr);
  center.Post("changed", nullptr);
  center.RemoveObserver(kept);
  center.RemoveObserver(kept);  // unknown by now: ignored
  center.Post("changed", nullptr);
  EXPECT_EQ(once_calls, 1);
  EXPECT_EQ(kept_calls, 2);
}

TEST(NotificationCenter, RemovingAnObserverWaitsForItsCallOnAnotherThread) {
  NotificationCenter center;
  std::promise<void> entered;
  std::promise<void> release;
  std::atomic<bool> done = false;
  const auto id = center.AddObserver("changed", [&](const Notification&) {
    entered.set_value();
    release.get_future().wait();
    done = true;
  });
  std::thread poster([&] { center.Post("changed", nullptr); });
  entered.get_future().wait();
  std::thread remover([&] {
    center.RemoveObserver(id);
    EXPECT_TRUE(done) << "RemoveObserver returned while the observer still ran";
  });
  release.set_value();
  remover.join();
  poster.join();
}

}  // namespace
}  // namespace rqb
