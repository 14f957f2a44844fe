// Runs on the real thread pool uploading over HTTPS to a loopback receiver:
// waiting for them with flush(), a forked child's runs and a main queue never
// served.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <future>
#include <map>
#include <nlohmann/json.hpp>
#include <thread>

#include "Constants/RQBBuildConfig.h"
#include "DataHelpers/RQBLocationDataHelper.h"
#include "FakeLocationPlatform.h"
#include "FakePlatform.h"
#include "LoopbackReceiver.h"
#include "Platform/ThreadPool.h"
#include "Platform/linux/CurlUrlSession.h"
#include "RQBehavior/RQBehavior.h"

namespace rqb {
namespace {

using namespace std::chrono_literals;
using loopback::LoopbackReceiver;
using loopback::TestCertificateAuthority;
using Answering = LoopbackReceiver::Answering;

const std::string kHost = loopback::HostOfUrl(RQB_PROFILER_BASE_URL);

std::size_t EntriesIn(const char* folder) {
  const std::filesystem::directory_iterator entries(folder);
  return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

class RealRuns : public test::PlatformTest {
 protected:
  RealRuns() {
    real_.emplace(Platform{.background_queue = &pool_, .url_sessions = &curl_});
    // One collector, which waits while the gate is closed (polling, as a
    // forked child must not wait on a condition its parent's threads used).
    classes_.Register("RQBDeviceNameDataHelper", [this] {
      return std::make_unique<test::StubDataHelper>("DeviceName", "box", [this] {
        ++collecting_;
        while (gate_closed_) std::this_thread::sleep_for(1ms);
        --collecting_;
      });
    });
  }

  // A failed test must not leave runs waiting for ever: the pool waits for them.
  ~RealRuns() override { gate_closed_ = false; }

  // From now on every upload fails, with its log line: the route trusts a CA
  // that did not sign the receiver's certificate.
  void FailUploads() {
    untrusted_.emplace(CurlUrlSessionFactory::LoopbackRoute(
        kHost, receiver_.port(), TestCertificateAuthority("Some Other CA").CertificatePem()));
    failing_.emplace(Platform{.url_sessions = &*untrusted_});
  }

  TestCertificateAuthority ca_;
  LoopbackReceiver receiver_{ca_, kHost};
  CurlUrlSessionFactory curl_{
      CurlUrlSessionFactory::LoopbackRoute(kHost, receiver_.port(), ca_.CertificatePem())};
  // Grows as soon as runs wait, so that runs held at the gate take every thread.
  ThreadPool pool_{4, test::StartTestThread};
  std::atomic<bool> gate_closed_ = false;
  std::atomic<int> collecting_ = 0;
  std::optional<ScopedPlatformOverride> real_;
  std::optional<CurlUrlSessionFactory> untrusted_;
  std::optional<ScopedPlatformOverride> failing_;
};

TEST_F(RealRuns, FlushWaitsForTheUploadsOfTheRunsStartedBeforeIt) {
  EXPECT_TRUE(RQBehavior::flush(0ms)) << "nothing is in flight";
  RQBehavior& behavior = RQBehavior::getInstance("shop-app-01");
  receiver_.SetAnswering(Answering::kHeld);
  gate_closed_ = true;
  behavior.collectDeviceInformation("session-1");

  // Called while the run collects, before it has started its upload.
  std::atomic<bool> calling = false;
  std::future<bool> flushed = std::async(std::launch::async, [&] {
    calling = true;
    return RQBehavior::flush(60s);
  });
  while (!calling) std::this_thread::yield();
  gate_closed_ = false;

  ASSERT_TRUE(receiver_.WaitForRequests(1, 20s));
  EXPECT_FALSE(RQBehavior::flush(200ms)) << "the receiver holds the answer";
  EXPECT_EQ(flushed.wait_for(0s), std::future_status::timeout)
      << "returned before the run's upload was answered";
  receiver_.SetAnswering(Answering::kAtOnce);
  EXPECT_TRUE(flushed.get());
  EXPECT_TRUE(RQBehavior::flush(0ms));
}

TEST_F(RealRuns, AForkedChildsRunUploadsAndNothingOfTheParentsIsSentTwice) {
  RQBehavior& behavior = RQBehavior::getInstance("shop-app-01");
  // At the fork: one upload whose answer the receiver holds, four runs
  // collecting on the pool's four threads and two more runs queued.
  receiver_.SetAnswering(Answering::kHeld);
  behavior.collectDeviceInformation("parent-session");
  ASSERT_TRUE(receiver_.WaitForRequests(1, 20s));
  gate_closed_ = true;
  for (int run = 0; run < 6; ++run) behavior.collectDeviceInformation("parent-session");
  while (collecting_ < 4) std::this_thread::sleep_for(1ms);

  const pid_t child = fork();
  ASSERT_NE(child, -1);
  if (child == 0) {
    gate_closed_ = false;
    behavior.collectDeviceInformation("child-session");
    _exit(RQBehavior::flush(60s) ? 0 : 1);
  }
  receiver_.SetAnswering(Answering::kAtOnce);
  EXPECT_EQ(test::ExitCodeOf(child), 0) << "the child's run did not finish";
  gate_closed_ = false;
  ASSERT_TRUE(RQBehavior::flush(60s));
  std::map<std::string, int> uploads;  // by session
  for (const auto& request : receiver_.Requests()) {
    ++uploads[nlohmann::json::parse(request.body)["SessionID"].get<std::string>()];
  }
  EXPECT_EQ(uploads, (std::map<std::string, int>{{"parent-session", 7}, {"child-session", 1}}));
}

// Python ends threads that call into it while it shuts down with
// pthread_exit, through whatever is on their stack. A handler that does so
// costs the library that thread only: no abort, flush() still returns, and
// later failures are logged.
TEST_F(RealRuns, ALogHandlerThatEndsItsThreadEndsThatThreadOnly) {
  FailUploads();
  std::atomic<int> ended = 0;
  RQBehavior::setLogHandler([&](const RQBLogMessage&) {
    ++ended;
    pthread_exit(nullptr);
  });
  RQBehavior& behavior = RQBehavior::getInstance("shop-app-01");
  for (int run = 0; run < 5; ++run) behavior.collectDeviceInformation("session-1");
  EXPECT_TRUE(RQBehavior::flush(60s));
  EXPECT_EQ(ended, 5);

  test::Recorded<std::string> lines;
  RQBehavior::setLogHandler(
      [&](const RQBLogMessage& message) { lines.Add(std::string(message.text)); });
  behavior.collectDeviceInformation("session-2");
  EXPECT_TRUE(RQBehavior::flush(60s));
  RQBehavior::setLogHandler(nullptr);
  ASSERT_EQ(lines.Get().size(), 1u);
  EXPECT_THAT(lines.Get()[0], testing::StartsWith("variables POST ERROR: "));
}

// The upload whose failure is being logged is under way until the handler
// returns: a flush() inside the handler cannot wait for it, and returns at
// once instead of holding up every other completion for its time-out.
TEST_F(RealRuns, FlushInsideTheLogHandlerReturnsAtOnce) {
  FailUploads();
  test::Recorded<bool> flushed_inside;
  RQBehavior::setLogHandler(
      [&](const RQBLogMessage&) { flushed_inside.Add(RQBehavior::flush(120s)); });
  RQBehavior& behavior = RQBehavior::getInstance("shop-app-01");
  for (int run = 0; run < 2; ++run) behavior.collectDeviceInformation("session-1");
  EXPECT_TRUE(RQBehavior::flush(60s));
  RQBehavior::setLogHandler(nullptr);
  EXPECT_EQ(flushed_inside.Get(), (std::vector<bool>{false, false}));
}

TEST_F(RealRuns, RunsWithTheMainQueueNeverServedLeaveOneTaskThereAndNoThreadsOrDescriptors) {
  test::FakeLocationPlatform location;
  classes_.Register("RQBLocationDataHelper",
                    [] { return std::make_unique<RQBLocationDataHelper>(); });
  // Without an application identifier runs end in a log line, not an upload.
  RQBehavior& behavior = RQBehavior::getInstance(std::nullopt);
  const auto run = [&](int times) {
    for (int i = 0; i < times; ++i) behavior.collectDeviceInformation("session-1");
    while (gate_closed_ && collecting_ < 4) std::this_thread::sleep_for(1ms);
    gate_closed_ = false;
    return RQBehavior::flush(120s);
  };
  // The first runs wait until they hold all the pool's threads.
  gate_closed_ = true;
  ASSERT_TRUE(run(10));
  // The loopback receiver's threads, which start when it listens, possibly
  // late under load, are not counted: only the library's, named "rqb-...".
  const std::size_t threads = test::LibraryThreadTasks().size();
  const std::size_t descriptors = EntriesIn("/proc/self/fd");
  ASSERT_TRUE(run(9'990));
  EXPECT_EQ(test::LibraryThreadTasks().size(), threads);
  EXPECT_EQ(EntriesIn("/proc/self/fd"), descriptors);
  EXPECT_EQ(location.main_queue.Drain(), 1u) << "one manager creation serves every run";
  EXPECT_EQ(log_.Lines().size(), 10'000u);
}

}  // namespace
}  // namespace rqb
