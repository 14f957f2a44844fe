// Real HTTPS uploads through libcurl to a loopback receiver, with the
// certificate and host name verified.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <future>
#include <set>
#include <thread>

#include "Constants/RQBBuildConfig.h"
#include "FakePlatform.h"
#include "LoopbackReceiver.h"
#include "Platform/TaskExecutor.h"
#include "Platform/linux/CurlUrlSession.h"
#include "Platform/linux/RuntimeLibrary.h"
#include "Services/RQBHttpService.h"

// Defined when a sanitizer's allocator is linked in.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes() __attribute__((weak));

namespace rqb {
namespace {

using namespace std::chrono_literals;

using loopback::LoopbackReceiver;
using loopback::TestCertificateAuthority;
using test::ObservedUrlSessions;
using test::PlatformTest;

const std::string kHost = loopback::HostOfUrl(RQB_PROFILER_BASE_URL);
// The host with the base URL's port, if it names one: what requests carry as Host.
const std::string kAuthority = loopback::AuthorityOfUrl(RQB_PROFILER_BASE_URL);

// A port on 127.0.0.1 where nothing listens.
int ClosedPort() {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
  socklen_t length = sizeof address;
  getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
  close(fd);
  return ntohs(address.sin_port);
}

class HttpsUpload : public PlatformTest {
 protected:
  // Uploads to `authority` go to `port` and trust `trusted`'s certificates.
  void Route(int port, const TestCertificateAuthority& trusted,
             const std::string& authority = kAuthority) {
    Route(port, trusted.CertificatePem(), authority);
  }
  // The same trusting the certificates in `trusted_pem`, or the system's CA
  // store when it is empty.
  void Route(int port, const std::string& trusted_pem, const std::string& authority = kAuthority) {
    curl_.emplace(CurlUrlSessionFactory::LoopbackRoute(authority, port, trusted_pem));
    observed_.emplace(*curl_);
    Platform routed;
    routed.url_sessions = &*observed_;
    route_.emplace(routed);
  }

  void Upload(const JsonObject& envelope) {
    RQBHttpService::getInstance().setTimeout(10);
    RQBHttpService::getInstance().sendDeviceFullInfo(envelope);
  }

  TestCertificateAuthority ca_;
  LoopbackReceiver receiver_{ca_, kHost};
  std::optional<CurlUrlSessionFactory> curl_;
  std::optional<ObservedUrlSessions> observed_;
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

TEST_F(HttpsUpload, PostsTheBodyByteForByteWithItsHeaders) {
  Route(receiver_.port(), ca_);
  const std::string tail =
      "  \"SessionID\" : \"9B2C61D4-0E7A-4F3B-8C55-1A2D3E4F5A6B\",\n  \"App\" : \"shop-app-01\"\n}";
  const std::pair<std::string, std::string> cases[] = {
      {"", "{\n  \"Variables\" : {\n\n  },\n" + tail},
      {"{ \"s\": \"c\", \"l\": 50.000000 }",
       "{\n  \"Variables\" : {\n    \"DeviceName\" : \"{ \\\"s\\\": \\\"c\\\", \\\"l\\\": "
       "50.000000 }\"\n  },\n" +
           tail},
      {"Jo\xC3\xA3o's \"box\" C:\\dev /tmp\t\x01 \xF0\x9F\x98\x80",
       "{\n  \"Variables\" : {\n"
       "    \"DeviceName\" : \"Jo\xC3\xA3o's \\\"box\\\" C:\\\\dev \\/tmp\\t\\u0001 "
       "\xF0\x9F\x98\x80\"\n  },\n" +
           tail},
  };
  std::vector<std::string> expected;
  for (const auto& [device_name, body] : cases) {
    Upload(Envelope(device_name));
    expected.push_back(body);
  }
  ASSERT_TRUE(observed_->WaitForCompletions(3));

  std::vector<std::string> bodies;
  for (const auto& request : receiver_.Requests()) {
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.path, "/api/profiler/variables");
    EXPECT_EQ(request.Header("Accept"), "application/json");
    EXPECT_EQ(request.Header("Content-Type"), "application/json; charset=UTF-8");
    EXPECT_EQ(request.Header("Content-Length"), std::to_string(request.body.size()));
    EXPECT_EQ(request.Header("Host"), kAuthority);
    bodies.push_back(request.body);
  }
  // Uploads run concurrently, so they may arrive in any order.
  std::sort(bodies.begin(), bodies.end());
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(bodies, expected);
  EXPECT_EQ(log_.Lines(), std::vector<std::string>());
}

TEST_F(HttpsUpload, ABaseUrlWithAPortIsRoutedByHostAndPort) {
  Route(receiver_.port(), ca_, kHost + ":8443");
  RQBHttpService::getInstance().setTimeout(10);
  RQBHttpService::getInstance().postData(
      Envelope(), ("https://" + kHost + ":8443/api/profiler/").c_str(), "variables");
  ASSERT_TRUE(observed_->WaitForCompletions(1));
  EXPECT_EQ(log_.Lines(), std::vector<std::string>());
  ASSERT_EQ(receiver_.RequestCount(), 1u);
  EXPECT_EQ(receiver_.Requests().front().Header("Host"), kHost + ":8443");
}

TEST_F(HttpsUpload, StatusesOtherThan200AreSilent) {
  Route(receiver_.port(), ca_);
  std::size_t sent = 0;
  for (const int status : {201, 204, 500}) {
    receiver_.SetStatus(status);
    Upload(Envelope());
    ASSERT_TRUE(receiver_.WaitForRequests(++sent, 10s));
  }
  ASSERT_TRUE(observed_->WaitForCompletions(3));
  EXPECT_EQ(log_.Lines(), std::vector<std::string>());
}

TEST_F(HttpsUpload, ARefusedConnectionAnUntrustedCertificateOrNoLibcurlLogsOneErrorLine) {
  const TestCertificateAuthority stranger("Some Other CA");
  Route(ClosedPort(), ca_);
  Upload(Envelope());
  ASSERT_TRUE(observed_->WaitForCompletions(1));
  Route(receiver_.port(), stranger);
  Upload(Envelope());
  ASSERT_TRUE(observed_->WaitForCompletions(1));
  Route(receiver_.port(), "");  // the system's CA store, which knows no test CA
  Upload(Envelope());
  ASSERT_TRUE(observed_->WaitForCompletions(1));
  {
    const ScopedUnloadableLibrary no_libcurl(RuntimeLibraryId::kCurl);
    Route(receiver_.port(), ca_);
    Upload(Envelope());
    ASSERT_TRUE(observed_->WaitForCompletions(1));
  }

  const std::vector<std::string> lines = log_.Lines();
  ASSERT_EQ(lines.size(), 4u);
  for (const std::string& line : lines) {
    EXPECT_TRUE(line.starts_with("variables POST ERROR: ")) << line;
  }
  EXPECT_THAT(lines[2], testing::HasSubstr("certificate"));
  EXPECT_THAT(lines.back(), testing::HasSubstr("libcurl"));
  EXPECT_EQ(receiver_.RequestCount(), 0u);
}

// The names of the threads whose blocked-signal mask differs from what a
// library thread's must be: every asynchronous signal blocked, and faults
// left to their handlers.
std::set<std::string> ThreadsWithWrongMasks() {
  std::set<std::string> wrong;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    std::string name;
    std::getline(std::ifstream(task.path() / "comm"), name);
    if (!name.starts_with("rqb-")) continue;
    std::ifstream status(task.path() / "status");
    for (std::string line; std::getline(status, line);) {
      if (!line.starts_with("SigBlk:")) continue;
      const std::uint64_t blocked = std::stoull(line.substr(7), nullptr, 16);
      for (const int signal : {SIGPIPE, SIGINT, SIGTERM, SIGHUP, SIGUSR1, SIGALRM, SIGCHLD}) {
        if (!(blocked & (1ull << (signal - 1)))) wrong.insert(name + " takes " + strsignal(signal));
      }
      if (blocked & (1ull << (SIGSEGV - 1))) wrong.insert(name + " blocks faults");
    }
  }
  return wrong;
}

std::set<std::string> ThreadNames() {
  std::set<std::string> names;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    std::string name;
    std::getline(std::ifstream(task.path() / "comm"), name);
    names.insert(name);
  }
  return names;
}

TEST_F(HttpsUpload, LibraryThreadsAreNamedAndLeaveAsynchronousSignalsToTheHost) {
  Route(receiver_.port(), ca_);
  Upload(Envelope());
  ASSERT_TRUE(observed_->WaitForCompletions(1));
  std::promise<void> ran;
  DefaultPlatform().background_queue->Submit([&] { ran.set_value(); });
  ran.get_future().wait();

  for (const char* name : {"rqb-transfer", "rqb-delegate", "rqb-background"}) {
    EXPECT_TRUE(ThreadNames().contains(name)) << name;
  }
  // A thread that a library thread is starting has every signal blocked
  // until it has set itself up, and its creator's name: wait for that.
  std::set<std::string> wrong = ThreadsWithWrongMasks();
  for (int i = 0; i < 500 && !wrong.empty(); ++i) {
    std::this_thread::sleep_for(10ms);
    wrong = ThreadsWithWrongMasks();
  }
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
  Route(receiver_.port(), ca_);
  receiver_.SetAnswering(LoopbackReceiver::Answering::kEndlessBody);
  const std::size_t before = HeapInUse();
  RQBHttpService::getInstance().setTimeout(3);
  RQBHttpService::getInstance().sendDeviceFullInfo(Envelope());
  std::size_t most = before;
  while (!observed_->WaitForCompletions(1, 10ms)) most = std::max(most, HeapInUse());

  constexpr std::size_t kFlat = 8 << 20;
  ASSERT_GT(receiver_.EndlessBytesSent(), 4 * kFlat) << "too little streamed to tell";
  EXPECT_LT(most - before, kFlat);
  EXPECT_THAT(log_.Lines(), testing::ElementsAre(
                                testing::StartsWith("variables POST ERROR: Operation timed out")));
}

}  // namespace
}  // namespace rqb
