// The reachability monitor over a fake provider: status, factories, and when
// its change notification is posted.
#include <gtest/gtest.h>

#include <thread>

#include "FakeNetworkPlatform.h"
#include "Platform/NotificationCenter.h"
#include "Platform/RunLoop.h"
#include "Utils/Reachability/Reachability.h"

namespace rqb {
namespace {

using namespace std::chrono_literals;

constexpr ReachabilityFlags kReachable = kReachabilityFlagReachable;
constexpr ReachabilityFlags kWwan = kReachabilityFlagIsWWAN;
constexpr ReachabilityFlags kRequired = kReachabilityFlagConnectionRequired;
constexpr ReachabilityFlags kOnTraffic = kReachabilityFlagConnectionOnTraffic;
constexpr ReachabilityFlags kOnDemand = kReachabilityFlagConnectionOnDemand;
constexpr ReachabilityFlags kIntervention = kReachabilityFlagInterventionRequired;

// Each change notification as its object and the thread it came on.
using Observed = std::vector<std::pair<void*, std::thread::id>>;

class ReachabilityMonitor : public test::PlatformTest {
 protected:
  ~ReachabilityMonitor() override { NotificationCenter::Default().RemoveObserver(observer_); }

  // Runs this thread's loop until a notification stops it (true) or `time`
  // has passed.
  static bool RunLoopFor(std::chrono::milliseconds time) {
    return RunLoop::Current()->RunUntil(std::chrono::steady_clock::now() + time);
  }

  test::FakeNetworkPlatform network_;
  // Read once no other thread runs.
  Observed observed_;

 private:
  const NotificationCenter::ObserverId observer_ = NotificationCenter::Default().AddObserver(
      "kNetworkReachabilityChangedNotification", [this](const Notification& notification) {
        observed_.emplace_back(notification.object, std::this_thread::get_id());
        RunLoop::Current()->Stop();
      });
};

TEST_F(ReachabilityMonitor, MapsFlagsToStatusInTheDocumentedOrderAndUnreadableFlagsToNone) {
  const auto monitor = Reachability::reachabilityForInternetConnection();
  const std::pair<ReachabilityFlags, ReachabilityStatus> cases[] = {
      {kWwan | kRequired | kOnDemand, ReachabilityStatusNone},  // not reachable wins
      {kReachable, ReachabilityStatusWiFi},
      {kReachable | kWwan | kRequired | kIntervention, ReachabilityStatusWWAN},
      {kReachable | kRequired, ReachabilityStatusNone},
      {kReachable | kRequired | kOnDemand, ReachabilityStatusWiFi},
      {kReachable | kRequired | kOnTraffic, ReachabilityStatusWiFi},
      {kReachable | kRequired | kOnDemand | kIntervention, ReachabilityStatusNone},
      {kReachable | kOnTraffic | kIntervention, ReachabilityStatusWiFi},
  };
  for (const auto& [flags, status] : cases) {
    SCOPED_TRACE(testing::Message() << "flags 0x" << std::hex << flags);
    EXPECT_EQ(monitor->networkStatusForFlags(flags), status);
    network_.reachability.SetFlags(flags);
    EXPECT_EQ(monitor->currentReachabilityStatus(), status);
    EXPECT_EQ(monitor->connectionRequired(), (flags & kRequired) != 0);
  }
  network_.reachability.SetFlags(std::nullopt);
  EXPECT_FALSE(monitor->connectionRequired());
  EXPECT_EQ(monitor->currentReachabilityStatus(), ReachabilityStatusNone);
}

TEST_F(ReachabilityMonitor, FactoriesPassTheAddressInThePlatformsLayoutAndFailWithoutATarget) {
  ASSERT_NE(Reachability::reachabilityForInternetConnection(), nullptr);
  EXPECT_EQ(network_.reachability.last_address,
            (std::vector<std::uint8_t>{0x10, 0x02, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_NE(Reachability::reachabilityWithHostName("example.invalid"), nullptr);
  EXPECT_EQ(Reachability::reachabilityWithAddress(nullptr), nullptr);

  network_.reachability.refuse_targets = true;
  EXPECT_EQ(Reachability::reachabilityForInternetConnection(), nullptr);
}

TEST_F(ReachabilityMonitor, PostsAChangeWithTheMonitorOnlyOnTheSchedulingThreadWhileItsLoopRuns) {
  const auto monitor = Reachability::reachabilityForInternetConnection();
  ASSERT_TRUE(monitor->startNotifier());
  // Another monitor, on a thread that has ended, so its loop never runs.
  std::unique_ptr<Reachability> other;
  std::thread([&] {
    other = Reachability::reachabilityForInternetConnection();
    EXPECT_TRUE(other->startNotifier());
  }).join();
  std::thread([&] { network_.reachability.InjectChange(); }).join();
  EXPECT_TRUE(RunLoopFor(20s)) << "no notification";
  EXPECT_FALSE(RunLoopFor(100ms)) << "a second notification";
  EXPECT_EQ(observed_, (Observed{{monitor.get(), std::this_thread::get_id()}}));
}

TEST_F(ReachabilityMonitor, StopNotifierAndTeardownUnscheduleSoNoChangeIsPosted) {
  auto monitor = Reachability::reachabilityForInternetConnection();
  ASSERT_TRUE(monitor->startNotifier());
  monitor->stopNotifier();
  network_.reachability.InjectChange();
  EXPECT_FALSE(RunLoopFor(100ms)) << "notified after stopNotifier";

  ASSERT_TRUE(monitor->startNotifier()) << "a stopped monitor starts again";
  network_.reachability.InjectChange();  // pending when the monitor goes
  monitor.reset();
  EXPECT_FALSE(RunLoopFor(100ms)) << "notified after teardown";
  EXPECT_EQ(network_.reachability.events,
            (std::vector<std::string>{"create", "schedule", "unschedule", "schedule", "unschedule",
                                      "destroy"}));
}

}  // namespace
}  // namespace rqb
