// The reachability monitor over a fake provider: status, factories, and when
// its change notification is posted.
#include <gtest/gtest.h>

#include <future>
#include <thread>

#include "FakeNetworkPlatform.h"
#include "FakePlatform.h"
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

std::chrono::steady_clock::time_point Soon() { return std::chrono::steady_clock::now() + 20s; }

class ReachabilityMonitor : public test::PlatformTest {
 protected:
  // Records every change notification: its object and thread.
  struct Observed {
    void* object;
    std::thread::id thread;
  };

  ReachabilityMonitor() {
    observer_ = NotificationCenter::Default().AddObserver(
        "kNetworkReachabilityChangedNotification", [this](const Notification& notification) {
          std::lock_guard lock(mutex_);
          observed_.push_back({notification.object, std::this_thread::get_id()});
          if (stop_on_notification_) stop_on_notification_->Stop();
        });
  }
  ~ReachabilityMonitor() override { NotificationCenter::Default().RemoveObserver(observer_); }

  std::vector<Observed> Notifications() {
    std::lock_guard lock(mutex_);
    return observed_;
  }

  // Runs the calling thread's loop until a notification arrives.
  bool RunUntilNotified() {
    const std::shared_ptr<RunLoop> loop = RunLoop::Current();
    {
      std::lock_guard lock(mutex_);
      stop_on_notification_ = loop;
    }
    return loop->RunUntil(Soon());
  }

  // Runs the calling thread's loop through everything that is due now.
  static void RunPendingWork() {
    const std::shared_ptr<RunLoop> loop = RunLoop::Current();
    loop->Post([loop] { loop->Stop(); });
    loop->RunUntil(Soon());
  }

  test::FakeNetworkPlatform network_;

 private:
  NotificationCenter::ObserverId observer_ = 0;
  std::mutex mutex_;
  std::vector<Observed> observed_;
  std::shared_ptr<RunLoop> stop_on_notification_;
};

TEST_F(ReachabilityMonitor, MapsFlagsToStatusInTheDocumentedOrder) {
  const auto monitor = Reachability::reachabilityForInternetConnection();
  ASSERT_NE(monitor, nullptr);
  struct Case {
    ReachabilityFlags flags;
    ReachabilityStatus status;
  };
  const Case cases[] = {
      {0, ReachabilityStatusNone},
      {kWwan | kRequired | kOnDemand, ReachabilityStatusNone},  // not reachable wins
      {kReachable, ReachabilityStatusWiFi},
      {kReachable | kWwan, ReachabilityStatusWWAN},
      {kReachable | kWwan | kRequired, ReachabilityStatusWWAN},
      {kReachable | kWwan | kRequired | kIntervention, ReachabilityStatusWWAN},
      {kReachable | kRequired, ReachabilityStatusNone},
      {kReachable | kRequired | kOnDemand, ReachabilityStatusWiFi},
      {kReachable | kRequired | kOnTraffic, ReachabilityStatusWiFi},
      {kReachable | kRequired | kOnDemand | kIntervention, ReachabilityStatusNone},
      {kReachable | kOnTraffic | kIntervention, ReachabilityStatusWiFi},  // falls to row 4
      {kReachable | kReachabilityFlagIsDirect | kReachabilityFlagIsLocalAddress,
       ReachabilityStatusWiFi},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(monitor->networkStatusForFlags(c.flags), c.status)
        << "flags 0x" << std::hex << c.flags;
    network_.reachability.SetFlags(c.flags);
    EXPECT_EQ(monitor->currentReachabilityStatus(), c.status) << "flags 0x" << std::hex << c.flags;
  }
}

TEST_F(ReachabilityMonitor, UnreadableFlagsReadAsNotReachableAndNoConnectionRequired) {
  const auto monitor = Reachability::reachabilityForInternetConnection();
  network_.reachability.SetFlags(kReachable | kRequired);
  EXPECT_TRUE(monitor->connectionRequired());
  network_.reachability.SetFlags(kReachable | kWwan);
  EXPECT_FALSE(monitor->connectionRequired());
  network_.reachability.SetFlags(std::nullopt);
  EXPECT_FALSE(monitor->connectionRequired());
  EXPECT_EQ(monitor->currentReachabilityStatus(), ReachabilityStatusNone);
}

TEST_F(ReachabilityMonitor, AsksForTheZeroAddressInThePlatformsLayout) {
  ASSERT_NE(Reachability::reachabilityForInternetConnection(), nullptr);
  const std::vector<std::uint8_t> zero_address = {0x10, 0x02, 0, 0, 0, 0, 0, 0,
                                                  0,    0,    0, 0, 0, 0, 0, 0};
  EXPECT_EQ(network_.reachability.Addresses(),
            std::vector<std::vector<std::uint8_t>>{zero_address});
}

TEST_F(ReachabilityMonitor, FactoriesGiveNothingWhenNoTargetCanBeMade) {
  const std::uint8_t ipv4[16] = {16, 2, 0, 80, 192, 0, 2, 1};
  EXPECT_NE(Reachability::reachabilityWithAddress(ipv4), nullptr);
  EXPECT_NE(Reachability::reachabilityWithHostName("example.invalid"), nullptr);
  EXPECT_EQ(Reachability::reachabilityWithAddress(nullptr), nullptr);

  network_.reachability.RefuseTargets(true);
  EXPECT_EQ(Reachability::reachabilityWithAddress(ipv4), nullptr);
  EXPECT_EQ(Reachability::reachabilityWithHostName("example.invalid"), nullptr);
  EXPECT_EQ(Reachability::reachabilityForInternetConnection(), nullptr);
  EXPECT_EQ(network_.reachability.Addresses()[0],
            std::vector<std::uint8_t>(std::begin(ipv4), std::end(ipv4)));
}

TEST_F(ReachabilityMonitor, PostsAChangeWithTheMonitorAsObjectOnlyWhileItsLoopRuns) {
  const auto monitor = Reachability::reachabilityForInternetConnection();
  ASSERT_TRUE(monitor->startNotifier());

  std::thread([&] { network_.reachability.InjectChange(); }).join();
  EXPECT_TRUE(Notifications().empty()) << "delivered while no loop ran";

  ASSERT_TRUE(RunUntilNotified());
  const auto notifications = Notifications();
  ASSERT_EQ(notifications.size(), 1u);
  EXPECT_EQ(notifications[0].object, monitor.get());
  EXPECT_EQ(notifications[0].thread, std::this_thread::get_id());
}

TEST_F(ReachabilityMonitor, AMonitorStartedOnAThreadWhoseLoopNeverRunsNeverNotifies) {
  std::promise<void> started;
  std::promise<void> finish;
  std::thread worker([&] {
    const auto monitor = Reachability::reachabilityForInternetConnection();
    EXPECT_TRUE(monitor->startNotifier());
    started.set_value();
    finish.get_future().wait();
  });
  started.get_future().wait();
  network_.reachability.InjectChange();
  RunPendingWork();  // this thread's loop runs; the worker's does not
  finish.set_value();
  worker.join();
  EXPECT_TRUE(Notifications().empty());
}

TEST_F(ReachabilityMonitor, StopNotifierEndsNotifications) {
  const auto monitor = Reachability::reachabilityForInternetConnection();
  network_.reachability.RefuseScheduling(true);
  EXPECT_FALSE(monitor->startNotifier());
  network_.reachability.RefuseScheduling(false);
  ASSERT_TRUE(monitor->startNotifier());
  monitor->stopNotifier();
  network_.reachability.InjectChange();
  RunPendingWork();
  EXPECT_TRUE(Notifications().empty());
  EXPECT_EQ(network_.reachability.Events(),
            (std::vector<std::string>{"create", "schedule", "unschedule"}));

  // And it may be started again.
  ASSERT_TRUE(monitor->startNotifier());
  network_.reachability.InjectChange();
  EXPECT_TRUE(RunUntilNotified());
}

TEST_F(ReachabilityMonitor, TeardownUnschedulesBeforeReleasingTheTarget) {
  auto monitor = Reachability::reachabilityForInternetConnection();
  ASSERT_TRUE(monitor->startNotifier());
  network_.reachability.InjectChange();  // pending, never delivered
  monitor.reset();
  RunPendingWork();
  EXPECT_TRUE(Notifications().empty());
  EXPECT_EQ(network_.reachability.Events(),
            (std::vector<std::string>{"create", "schedule", "unschedule", "destroy"}));

  // A monitor that was never started is released without unscheduling.
  Reachability::reachabilityForInternetConnection().reset();
  EXPECT_EQ(network_.reachability.Events().back(), "destroy");
  EXPECT_EQ(network_.reachability.Events().size(), 6u);
}

}  // namespace
}  // namespace rqb
