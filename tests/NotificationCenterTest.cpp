// Named notifications: who is called, and on which thread.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "Platform/NotificationCenter.h"

namespace rqb {
namespace {

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
