// Real HTTPS uploads through libcurl to a loopback receiver, with the
// certificate and host name verified, and the library threads they run on.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <pthread.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>
#include <set>
#include <sstream>
#include <thread>

#include "Constants/RQBBuildConfig.h"
#include "FakePlatform.h"
#include "LoopbackReceiver.h"
#include "Platform/linux/CurlUrlSession.h"
#include "Platform/linux/RuntimeLibrary.h"
#include "RQBehavior/RQBehavior.h"
#include "Services/RQBHttpService.h"
#include "Utils/Json/PrettyJsonWriter.h"

// Defined when a sanitizer's allocator is linked in.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes() __attribute__((weak));

namespace rqb {
namespace {

using namespace std::chrono_literals;

using loopback::LoopbackReceiver;
using loopback::TestCertificateAuthority;
using test::PlatformTest;

const std::string kHost = loopback::HostOfUrl(RQB_PROFILER_BASE_URL);
// The host with the base URL's port, if it names one: what requests carry as Host.
const std::string kAuthority = loopback::AuthorityOfUrl(RQB_PROFILER_BASE_URL);

class HttpsUpload : public PlatformTest {
 protected:
  ~HttpsUpload() override { RQBehavior::setLogHandler(nullptr); }

  // Uploads go to the receiver and trust the certificates in `trusted_pem`,
  // or the system's CA store when it is empty.
  void Route(const std::string& trusted_pem, int port = 0) {
    curl_.emplace(CurlUrlSessionFactory::LoopbackRoute(
        kAuthority, port != 0 ? port : receiver_.port(), trusted_pem));
    route_.emplace(Platform{.url_sessions = &*curl_});
  }

  void Upload(const JsonObject& envelope, int timeout = 10) {
    RQBHttpService::getInstance().setTimeout(timeout);
    RQBHttpService::getInstance().sendDeviceFullInfo(envelope);
  }

  TestCertificateAuthority ca_;
  LoopbackReceiver receiver_{ca_, kHost};
  std::optional<CurlUrlSessionFactory> curl_;
  std::optional<ScopedPlatformOverride> route_;
};

JsonObject Envelope(const std::string& device_name = "") {
  JsonObject variables;
  if (!device_name.empty()) variables.Set("DeviceName", device_name);
  JsonObject envelope;
  envelope.Set("Variables", std::move(variables));
  envelope.Set("SessionID", std::string("9B2C61D4-0E7A-4F3B-8C55-1A2D3E4F5A6B"));
  envelope.Set("App", std::string("shop-app-01"));
  return envelope;
}

// Whatever the status of the answer, the upload logs nothing.
TEST_F(HttpsUpload, PostsTheBodyByteForByteWithItsHeadersAndAnyStatusIsSilent) {
  Route(ca_.CertificatePem());
  const JsonObject envelope = Envelope("Jo\xC3\xA3o's \"box\" C:\\dev /tmp\t\x01 \xF0\x9F\x98\x80");
  for (const int status : {200, 201, 204, 500}) {
    receiver_.SetStatus(status);
    Upload(envelope);
    ASSERT_TRUE(RQBehavior::flush(20s));
  }

  ASSERT_EQ(receiver_.RequestCount(), 4u);
  const auto request = receiver_.Requests().front();
  EXPECT_EQ(request.method, "POST");
  EXPECT_EQ(request.path, "/api/profiler/variables");
  EXPECT_EQ(request.Header("Accept"), "application/json");
  EXPECT_EQ(request.Header("Content-Type"), "application/json; charset=UTF-8");
  EXPECT_EQ(request.Header("Content-Length"), std::to_string(request.body.size()));
  EXPECT_EQ(request.Header("Host"), kAuthority);
  EXPECT_EQ(request.body, WritePrettyJson(envelope));
  EXPECT_EQ(log_.Lines(), std::vector<std::string>());
}

// flush() returns only once the failed upload's line is written, however
// slowly the host's log handler takes it.
TEST_F(HttpsUpload, AnUntrustedCertificateOrNoLibcurlLogsOneErrorLineBeforeFlushReturns) {
  test::Recorded<std::string> handled;
  RQBehavior::setLogHandler([&](const RQBLogMessage& message) {
    std::this_thread::sleep_for(50ms);
    handled.Add(std::string(message.text));
  });
  const auto upload = [&] {
    Upload(Envelope());
    EXPECT_TRUE(RQBehavior::flush(20s));
    return handled.Get().size();
  };
  Route(TestCertificateAuthority("Some Other CA").CertificatePem());
  EXPECT_EQ(upload(), 1u);
  Route("");  // the system's CA store, which knows no test CA
  EXPECT_EQ(upload(), 2u);
  {
    const ScopedUnloadableLibrary no_libcurl(RuntimeLibraryId::kCurl);
    Route(ca_.CertificatePem());
    EXPECT_EQ(upload(), 3u);
  }

  const auto error = [](const char* about) {
    return testing::AllOf(testing::StartsWith("variables POST ERROR: "), testing::HasSubstr(about));
  };
  EXPECT_THAT(handled.Get(),
              testing::ElementsAre(error("certificate"), error("certificate"), error("libcurl")));
  EXPECT_EQ(receiver_.RequestCount(), 0u);
}

// Touches `bytes` of stack, 16 KiB per frame.
[[gnu::noinline]] int UseStack(std::size_t bytes) {
  volatile char block[16 << 10];
  block[0] = 1;
  block[sizeof block - 1] = 1;
  if (bytes <= sizeof block) return block[0];
  return block[sizeof block - 1] + UseStack(bytes - sizeof block);
}

// The size of the mapping that holds the stack pointer of the thread whose
// /proc folder is `task`, or 0 while it runs: a thread blocked in a system
// call shows its stack pointer in its syscall file, second from the end.
std::uintptr_t StackMappingSize(const std::filesystem::path& task) {
  std::ifstream syscall(task / "syscall");
  const std::vector<std::string> words{std::istream_iterator<std::string>(syscall), {}};
  if (words.size() < 3) return 0;
  const std::uintptr_t sp = std::stoull(words[words.size() - 2], nullptr, 16);
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    std::uintptr_t start = 0, end = 0;
    char dash = 0;
    std::istringstream(line) >> std::hex >> start >> dash >> end;
    if (start <= sp && sp < end) return end - start;
  }
  return 0;
}

// Every asynchronous signal blocked, and faults left to their handlers.
bool LeavesSignalsToTheHost(const std::filesystem::path& task) {
  std::ifstream status(task / "status");
  std::uint64_t blocked = 0;
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("SigBlk:")) blocked = std::stoull(line.substr(7), nullptr, 16);
  }
  for (const int signal : {SIGPIPE, SIGINT, SIGTERM, SIGHUP, SIGUSR1, SIGALRM, SIGCHLD}) {
    if (!(blocked & (1ull << (signal - 1)))) return false;
  }
  return !(blocked & (1ull << (SIGSEGV - 1)));
}

// A host that gives its own threads large stacks (or runs under a large
// `ulimit -s`) does not give them to the library's threads, whose reserved
// address space stays small; a log handler still has room for deep calls.
TEST_F(HttpsUpload, LibraryThreadsReserveSmallStacksAndLeaveAsynchronousSignalsToTheHost) {
  pthread_attr_t host_default, large;
  pthread_getattr_default_np(&host_default);
  pthread_attr_init(&large);
  pthread_attr_setstacksize(&large, std::size_t{64} << 20);
  ASSERT_EQ(pthread_setattr_default_np(&large), 0);
  pthread_attr_destroy(&large);
  std::promise<std::string> handled;
  RQBehavior::setLogHandler([&](const RQBLogMessage& message) {
    UseStack(std::size_t{256} << 10);
    handled.set_value(std::string(message.text));
    RQBehavior::setLogHandler(nullptr);
  });
  // An upload that fails logs on the delegate thread, after the transfer
  // thread's handshake; the run's thread is the background queue's.
  Route(TestCertificateAuthority("Some Other CA").CertificatePem());
  std::promise<void> ran;
  DefaultPlatform().background_queue->Submit([&] {
    Upload(Envelope());
    ran.set_value();
  });
  ran.get_future().wait();
  ASSERT_TRUE(RQBehavior::flush(20s));
  EXPECT_THAT(handled.get_future().get(), testing::StartsWith("variables POST ERROR: "));
  pthread_setattr_default_np(&host_default);
  pthread_attr_destroy(&host_default);

  // A thread caught running shows no stack pointer, and one that a library
  // thread is starting has every signal blocked until it has set itself up,
  // and its creator's name: look again until neither is so. The stack's
  // mapping holds the thread's share of thread-local storage too, which a
  // sanitizer's run-time makes large.
  const std::set<std::string> named = {"rqb-background", "rqb-delegate", "rqb-transfer"};
  std::set<std::string> seen, wrong;
  for (int i = 0; i < 500 && (!std::ranges::includes(seen, named) || !wrong.empty()); ++i) {
    std::this_thread::sleep_for(10ms);
    seen.clear();
    wrong.clear();
    for (const auto& [name, task] : test::LibraryThreadTasks()) {
      if (!LeavesSignalsToTheHost(task)) wrong.insert(name + " blocks the wrong signals");
      const std::uintptr_t stack = StackMappingSize(task);
      if (stack != 0) seen.insert(name);
      if (stack != 0 &&
          (stack < (std::uintptr_t{512} << 10) || stack > (std::uintptr_t{2} << 20))) {
        wrong.insert(name + "'s stack mapping holds " + std::to_string(stack) + " bytes");
      }
    }
  }
  EXPECT_TRUE(std::ranges::includes(seen, named)) << testing::PrintToString(seen);
  EXPECT_THAT(wrong, testing::IsEmpty());
}

// Bytes allocated and not yet freed: the sanitizers' count when they replace
// malloc (their quarantine holds freed memory back), else glibc's.
std::size_t HeapInUse() {
  if (&__sanitizer_get_current_allocated_bytes != nullptr) {
    return __sanitizer_get_current_allocated_bytes();
  }
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

TEST_F(HttpsUpload, AnEndlessAnswerCostsNoMemoryAndEndsAtTheTimeOut) {
  Route(ca_.CertificatePem());
  receiver_.SetAnswering(LoopbackReceiver::Answering::kEndlessBody);
  const std::size_t before = HeapInUse();
  Upload(Envelope(), 3);
  std::size_t most = before;
  while (!RQBehavior::flush(10ms)) most = std::max(most, HeapInUse());

  constexpr std::size_t kFlat = 8 << 20;
  ASSERT_GT(receiver_.EndlessBytesSent(), 4 * kFlat) << "too little streamed to tell";
  EXPECT_LT(most - before, kFlat);
  EXPECT_THAT(log_.Lines(), testing::ElementsAre(
                                testing::StartsWith("variables POST ERROR: Operation timed out")));
}

// A service slower than the uploads: every upload still ends within its
// time-out of being handed over, answered or with a log line, as the
// platform's tasks do; none waits in a queue that only grows.
TEST_F(HttpsUpload, UploadsToAServiceSlowerThanThemEndWithinTheirTimeOut) {
  LoopbackReceiver slow(ca_, kHost, 1);
  slow.SetAnswerDelay(250ms);
  Route(ca_.CertificatePem(), slow.port());
  // Forty seconds of the service's work, twenty rounds of time-outs for its
  // eight connections at a time, where waiting uploads do not time out.
  constexpr std::size_t kUploads = 160;
  for (std::size_t i = 0; i < kUploads; ++i) Upload(Envelope(), 1);
  EXPECT_TRUE(RQBehavior::flush(10s)) << "an upload outlived its 1-second time-out";
  const std::vector<std::string> lines = log_.Lines();
  EXPECT_THAT(lines, testing::Each(testing::AllOf(testing::StartsWith("variables POST ERROR: "),
                                                  testing::ContainsRegex("[Tt]ime(d )?out"))));
  EXPECT_GE(slow.RequestCount() + lines.size(), kUploads) << "an upload ended without a trace";
}

}  // namespace
}  // namespace rqb
