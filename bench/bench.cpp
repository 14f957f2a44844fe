// Measures what a host pays for RQBehavior and what a burst costs the process:
//   1. caller-thread cost of collectDeviceInformation (median, p99);
//   2. a burst of calls against a loopback receiver: profiles received, peak
//      thread count, peak RSS growth, total time;
//   3. one upload's latency against the curl command posting the same body to
//      the same receiver, measured in the same run.
// The receiver runs in a child process so that its threads and memory are not
// counted against the library.
#include <RQBehavior/RQBehavior.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "Constants/RQBBuildConfig.h"
#include "LoopbackReceiver.h"
#include "Platform/Platform.h"
#include "Platform/UrlSession.h"
#include "Platform/linux/CurlUrlSession.h"
#include "Services/RQBHttpService.h"

namespace {

using Clock = std::chrono::steady_clock;
using rqb::loopback::LoopbackReceiver;
using rqb::loopback::TestCertificateAuthority;

constexpr int kBurst = 2000;
constexpr int kLatencySamples = 30;
constexpr auto kBurstDeadline = std::chrono::seconds(180);

double Microseconds(Clock::duration duration) {
  return std::chrono::duration<double, std::micro>(duration).count();
}

double Percentile(std::vector<double> values, double fraction) {
  std::sort(values.begin(), values.end());
  const std::size_t index = static_cast<std::size_t>(fraction * (values.size() - 1) + 0.5);
  return values[index];
}

// A field of /proc/self/status in kB or units, e.g. "Threads" or "VmRSS".
long StatusField(const std::string& name) {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind(name + ":", 0) == 0) return std::atol(line.c_str() + name.size() + 1);
  }
  return -1;
}

// Runs the receiver in a child process, which reports its port and then one
// byte per request received on the pipe returned in `requests_in`.
pid_t StartReceiverProcess(const TestCertificateAuthority& ca, const std::string& host,
                           int* requests_in) {
  int fds[2];
  if (pipe(fds) != 0) std::abort();
  const pid_t child = fork();
  if (child == 0) {
    close(fds[0]);
    LoopbackReceiver receiver(ca, host);
    const int port = receiver.port();
    if (write(fds[1], &port, sizeof port) != sizeof port) _exit(1);
    for (std::size_t reported = 0;;) {
      receiver.WaitForRequests(reported + 1, std::chrono::hours(1));
      for (const std::size_t received = receiver.RequestCount(); reported < received; ++reported) {
        if (write(fds[1], "r", 1) != 1) _exit(0);
      }
    }
  }
  close(fds[1]);
  *requests_in = fds[0];
  return child;
}

class RequestCounter {
 public:
  explicit RequestCounter(int fd) : fd_(fd) {}
  // Blocks until `count` requests in all have been reported, or the deadline.
  bool WaitFor(long count, Clock::time_point deadline) {
    char buffer[256];
    while (seen_ < count) {
      if (Clock::now() > deadline) return false;
      const ssize_t n = read(fd_, buffer, sizeof buffer);
      if (n <= 0) return false;
      seen_ += n;
    }
    return true;
  }
  long seen() const { return seen_; }

 private:
  int fd_;
  long seen_ = 0;
};

// Wraps the real URL sessions to time each upload from its start to its
// completion handler.
class TimedUrlSessions final : public rqb::UrlSessionFactory {
 public:
  explicit TimedUrlSessions(rqb::UrlSessionFactory& inner) : inner_(inner) {}

  std::shared_ptr<rqb::UrlSession> CreateSession(
      const rqb::UrlSessionConfiguration& configuration) override {
    return std::make_shared<Session>(*this, inner_.CreateSession(configuration));
  }

  // Latency of the next upload, or -1 on time-out.
  double NextUploadMicroseconds() {
    std::unique_lock lock(mutex_);
    done_.wait_for(lock, std::chrono::seconds(20), [&] { return last_.has_value(); });
    const double result = last_.value_or(-1);
    last_.reset();
    return result;
  }

 private:
  class Session final : public rqb::UrlSession {
   public:
    Session(TimedUrlSessions& owner, std::shared_ptr<rqb::UrlSession> inner)
        : owner_(owner), inner_(std::move(inner)) {}
    void StartDataTask(rqb::UrlRequest request,
                       rqb::DataTaskCompletionHandler completion) override {
      const Clock::time_point started = Clock::now();
      inner_->StartDataTask(std::move(request),
                            [this_owner = &owner_, started, completion = std::move(completion)](
                                auto data, auto response, auto error) {
                              completion(std::move(data), std::move(response), std::move(error));
                              this_owner->Record(Microseconds(Clock::now() - started));
                            });
    }

   private:
    TimedUrlSessions& owner_;
    std::shared_ptr<rqb::UrlSession> inner_;
  };

  void Record(double microseconds) {
    std::lock_guard lock(mutex_);
    last_ = microseconds;
    done_.notify_all();
  }

  rqb::UrlSessionFactory& inner_;
  std::mutex mutex_;
  std::condition_variable done_;
  std::optional<double> last_;
};

// Wall time of one `curl` run posting `body_path` like the library does.
double CurlMicroseconds(const std::string& host, int port, const std::string& ca_path,
                        const std::string& body_path) {
  const std::string url = std::string(RQB_PROFILER_BASE_URL) + "variables";
  const std::string connect_to = host + ":443:127.0.0.1:" + std::to_string(port);
  const std::string data = "@" + body_path;
  const Clock::time_point started = Clock::now();
  const pid_t child = fork();
  if (child == 0) {
    execlp("curl", "curl", "-sS", "-o", "/dev/null", "--cacert", ca_path.c_str(), "--connect-to",
           connect_to.c_str(), "-H", "Accept: application/json", "-H",
           "Content-Type: application/json; charset=UTF-8", "-H", "Expect:", "--data-binary",
           data.c_str(), url.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  int status = 0;
  waitpid(child, &status, 0);
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) return -1;
  return Microseconds(Clock::now() - started);
}

}  // namespace

int main() {
  const std::string host = rqb::loopback::HostOfUrl(RQB_PROFILER_BASE_URL);
  TestCertificateAuthority ca;
  int requests_fd = -1;
  const pid_t receiver = StartReceiverProcess(ca, host, &requests_fd);
  int port = 0;
  if (read(requests_fd, &port, sizeof port) != sizeof port) {
    std::fprintf(stderr, "bench: the receiver did not start\n");
    return 1;
  }
  RequestCounter received(requests_fd);
  long expected = 0;

  rqb::CurlUrlSessionFactory curl_sessions(rqb::CurlUrlSessionFactory::LoopbackRoute(
      rqb::loopback::AuthorityOfUrl(RQB_PROFILER_BASE_URL), port, ca.CertificatePem()));
  TimedUrlSessions timed(curl_sessions);
  rqb::Platform routed;
  routed.url_sessions = &timed;
  // In force until the process ends: background work may still use it.
  new rqb::ScopedPlatformOverride(routed);

  RQBehavior& behavior = RQBehavior::getInstance("shop-app-01");

  // Warm-up: one full run, so that lazily started threads and caches exist.
  behavior.collectDeviceInformation(behavior.generateSessionId());
  timed.NextUploadMicroseconds();
  if (!received.WaitFor(++expected, Clock::now() + std::chrono::seconds(30))) {
    std::fprintf(stderr, "bench: the warm-up profile never arrived\n");
    kill(receiver, SIGKILL);
    return 1;
  }

  // 1 and 2: the burst, each call timed on the caller's thread.
  std::atomic<bool> sampling = true;
  std::atomic<long> peak_threads = StatusField("Threads");
  const long rss_before_kb = StatusField("VmRSS");
  std::thread sampler([&] {
    while (sampling) {
      peak_threads = std::max(peak_threads.load(), StatusField("Threads"));
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
  });
  std::vector<std::string> sessions;
  for (int i = 0; i < kBurst; ++i) sessions.push_back(behavior.generateSessionId());
  std::vector<double> call_costs;
  call_costs.reserve(kBurst);
  const Clock::time_point burst_start = Clock::now();
  for (const std::string& session : sessions) {
    const Clock::time_point before = Clock::now();
    behavior.collectDeviceInformation(session);
    call_costs.push_back(Microseconds(Clock::now() - before));
  }
  expected += kBurst;
  const bool all_arrived = received.WaitFor(expected, burst_start + kBurstDeadline);
  const double burst_seconds =
      std::chrono::duration<double>(Clock::now() - burst_start).count();
  sampling = false;
  sampler.join();
  const long rss_growth_kb = StatusField("VmHWM") - rss_before_kb;
  const long burst_received = received.seen() - (expected - kBurst);

  // 3: one upload at a time, ours and curl's, interleaved.
  const std::string folder = "/tmp/rqbehavior-bench-" + std::to_string(getpid());
  std::system(("mkdir -p " + folder).c_str());
  const std::string ca_path = folder + "/ca.pem";
  const std::string body_path = folder + "/body.json";
  std::ofstream(ca_path) << ca.CertificatePem();
  rqb::JsonObject envelope;
  envelope.Set("Variables", rqb::JsonObject());
  envelope.Set("SessionID", behavior.generateSessionId());
  envelope.Set("App", std::string("shop-app-01"));
  std::ofstream(body_path) << RQBHttpService::getInstance().preparePost(envelope)->http_body;
  RQBHttpService::getInstance().setTimeout(10);
  std::vector<double> ours, theirs;
  for (int i = 0; i < kLatencySamples; ++i) {
    RQBHttpService::getInstance().sendDeviceFullInfo(envelope);
    ours.push_back(timed.NextUploadMicroseconds());
    theirs.push_back(CurlMicroseconds(host, port, ca_path, body_path));
  }
  expected += 2 * kLatencySamples;
  received.WaitFor(expected, Clock::now() + std::chrono::seconds(30));
  std::system(("rm -rf " + folder).c_str());
  kill(receiver, SIGKILL);
  waitpid(receiver, nullptr, 0);

  const double ours_median = Percentile(ours, 0.5);
  const double curl_median = Percentile(theirs, 0.5);
  std::printf("caller-thread cost of collectDeviceInformation (%d calls)\n", kBurst);
  std::printf("  median %.1f us, p99 %.1f us (target: median < 20 us)\n",
              Percentile(call_costs, 0.5), Percentile(call_costs, 0.99));
  std::printf("burst of %d calls against the loopback receiver\n", kBurst);
  std::printf("  profiles received %ld of %d within %lld s (target: all)\n", burst_received,
              kBurst, static_cast<long long>(kBurstDeadline.count()));
  std::printf("  peak thread count %ld (target: <= 16)\n", peak_threads.load());
  std::printf("  peak RSS growth %.1f MB (target: < 50 MB)\n", rss_growth_kb / 1024.0);
  std::printf("  total time %.2f s\n", burst_seconds);
  std::printf("one upload, median of %d (ours and curl interleaved)\n", kLatencySamples);
  std::printf("  library %.2f ms, curl command %.2f ms, ratio %.2f (target: <= 1.0)\n",
              ours_median / 1000, curl_median / 1000, ours_median / curl_median);
  return all_arrived ? 0 : 1;
}
