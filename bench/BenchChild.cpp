// The library's side of every benchmark figure, one measurement per process:
// the driver (bench.cpp) starts this program in the mode it needs and reads
// the numbers it prints on one line. It links the library's objects and
// nothing else, so that libcurl, libcrypto and libsystemd are in the process
// only once the library (or the easy-handle baseline) has loaded them, as in
// a host.
//
//   rqbehavior-bench-child runs N            set-up, first run, median of N warm runs (us)
//   rqbehavior-bench-child mark warm|cold    one run between trace markers
//   rqbehavior-bench-child callgrind warm|cold  one run in rqb_bench_measured_run
//   rqbehavior-bench-child first-thread      starting one library thread, first of the process
//   rqbehavior-bench-child uploads AUTHORITY PORT CA N   library and easy-handle medians
//   rqbehavior-bench-child first-upload|first-easy-upload AUTHORITY PORT CA
//   rqbehavior-bench-child memory|memory-system-ca AUTHORITY PORT CA
//   rqbehavior-bench-child long-life|long-life-plain AUTHORITY PORT CA N
//       anonymous kB after 1, 10, 100 ... N runs with uploads: the library's,
//       or runs and easy-handle uploads on one plain thread
//   rqbehavior-bench-child address-space|address-space-plain AUTHORITY PORT CA
//       peak address space of one run and upload, and where it goes (kB)
#include <RQBehavior/RQBehavior.h>
#include <dlfcn.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "BenchSupport.h"
#include "Constants/RQBBuildConfig.h"
#include "Managers/RQBIdentityManager.h"
#include "Platform/Platform.h"
#include "Platform/UrlSession.h"
#include "Platform/linux/CurlLibrary.h"
#include "Platform/linux/CurlUrlSession.h"
#include "Platform/linux/LinuxThreads.h"
#include "Platform/linux/RuntimeLibrary.h"
#include "Platform/linux/RuntimeSonames.h"
#include "Services/RQBHttpService.h"

namespace {

using rqb::bench::Clock;
using rqb::bench::Median;
using rqb::bench::Microseconds;
using rqb::bench::TimeUs;

// Runs collection steps on a thread of their own, as the background queue
// does, so that the thread's own state is warm only where a real run's is.
template <typename Work>
void OnCollectionThread(Work&& work) {
  std::thread(std::forward<Work>(work)).join();
}

rqb::JsonObject CollectOnce() { return RQBIdentifyManager::getInstance().getDeviceData(); }

// Not inlined, so that callgrind can count exactly one run.
extern "C" __attribute__((noinline)) void rqb_bench_measured_run(bool setup) {
  if (setup) rqb::CurrentPlatform();
  CollectOnce();
}

// Platform set-up, the first run, and the median of warm runs, in us.
int Runs(int runs) {
  OnCollectionThread([&] {
    const double setup = TimeUs([] { rqb::CurrentPlatform(); });
    const double first = TimeUs([] { CollectOnce(); });
    std::vector<double> warm;
    for (int i = 0; i < runs; ++i) warm.push_back(TimeUs([] { CollectOnce(); }));
    std::printf("%.1f %.1f %.1f\n", setup, first, Median(warm));
  });
  return 0;
}

// One run between trace markers: the first of the process (platform set-up
// included) or a warm one.
int Mark(bool cold) {
  OnCollectionThread([&] {
    if (cold) rqb::bench::Mark("begin");
    rqb::CurrentPlatform();
    for (int i = 0; i < (cold ? 0 : 3); ++i) CollectOnce();
    if (!cold) rqb::bench::Mark("begin");
    CollectOnce();
    rqb::bench::Mark("end");
  });
  return 0;
}

int Callgrind(bool cold) {
  OnCollectionThread([&] {
    if (!cold) {
      rqb::CurrentPlatform();
      for (int i = 0; i < 3; ++i) CollectOnce();
    }
    rqb_bench_measured_run(cold);
  });
  return 0;
}

// The one thread the host's first call starts: a library thread started
// from the host's thread, the first of a fresh process.
int FirstThread() {
  const double us = TimeUs([] {
    static_cast<void>(
        rqb::StartLibraryThread("rqb-background", rqb::ThreadPriority::kBackground, [] {}));
  });
  std::printf("%.2f\n", us);
  std::fflush(stdout);
  _exit(0);
}

// Reports the completion of every upload made through it.
class CompletionClock final : public rqb::UrlSessionFactory {
 public:
  explicit CompletionClock(rqb::UrlSessionFactory& inner) : inner_(inner) {}

  std::shared_ptr<rqb::UrlSession> CreateSession(
      const rqb::UrlSessionConfiguration& configuration) override {
    return std::make_shared<Session>(*this, inner_.CreateSession(configuration));
  }

  // When the next upload completed; nothing after 20 s.
  std::optional<Clock::time_point> NextCompletion() {
    std::unique_lock lock(mutex_);
    done_.wait_for(lock, std::chrono::seconds(20), [&] { return completed_.has_value(); });
    return std::exchange(completed_, std::nullopt);
  }

 private:
  class Session final : public rqb::UrlSession {
   public:
    Session(CompletionClock& owner, std::shared_ptr<rqb::UrlSession> inner)
        : owner_(owner), inner_(std::move(inner)) {}
    void StartDataTask(rqb::UrlRequest request,
                       rqb::DataTaskCompletionHandler completion) override {
      inner_->StartDataTask(std::move(request),
                            [owner = &owner_, completion = std::move(completion)](
                                auto data, auto response, auto error) {
                              completion(std::move(data), std::move(response), std::move(error));
                              owner->Record();
                            });
    }

   private:
    CompletionClock& owner_;
    std::shared_ptr<rqb::UrlSession> inner_;
  };

  void Record() {
    std::lock_guard lock(mutex_);
    completed_ = Clock::now();
    done_.notify_all();
  }

  rqb::UrlSessionFactory& inner_;
  std::mutex mutex_;
  std::condition_variable done_;
  std::optional<Clock::time_point> completed_;
};

struct Loopback {
  std::string authority;  // the base URL's host[:port]
  int port = 0;
  std::string ca_pem;

  // The same route the library's sessions take.
  std::string ConnectTo() const {
    return rqb::CurlUrlSessionFactory::LoopbackRoute(authority, port, "").connect_to.front();
  }
};

Loopback LoopbackOf(char** argv) {
  std::ifstream ca(argv[2]);
  return {argv[0], std::atoi(argv[1]),
          std::string(std::istreambuf_iterator<char>(ca), std::istreambuf_iterator<char>())};
}

// Routes the library's uploads to the loopback receiver for the rest of the
// process, through a clock of their completions.
CompletionClock& RouteUploads(const Loopback& loopback) {
  auto* sessions = new rqb::CurlUrlSessionFactory(rqb::CurlUrlSessionFactory::LoopbackRoute(
      loopback.authority, loopback.port, loopback.ca_pem));
  auto* clock = new CompletionClock(*sessions);
  rqb::Platform routed;
  routed.url_sessions = clock;
  new rqb::ScopedPlatformOverride(routed);  // background work may use it until the end
  return *clock;
}

// A profile as a run makes it, for the upload figures.
rqb::JsonObject Envelope() {
  rqb::JsonObject envelope;
  OnCollectionThread([&] { envelope.Set("Variables", CollectOnce()); });
  envelope.Set("SessionID", std::string("9B2C61D4-0E7A-4F3B-8C55-1A2D3E4F5A6B"));
  envelope.Set("App", std::string("shop-app-01"));
  return envelope;
}

// One library upload, from the call to its completion handler, in us.
double LibraryUpload(CompletionClock& clock, const rqb::JsonObject& envelope) {
  // A run hands its envelope over; this one is reused, so a copy is made first.
  std::optional<rqb::JsonObject> handed_over = envelope;
  const Clock::time_point start = Clock::now();
  RQBHttpService::getInstance().sendDeviceFullInfo(std::move(handed_over));
  const std::optional<Clock::time_point> done = clock.NextCompletion();
  return done ? Microseconds(*done - start) : -1;
}

size_t DropBody(char*, size_t size, size_t count, void*) { return size * count; }

// curl_easy_perform, which the library itself never calls, from the libcurl
// the library loaded.
decltype(&curl_easy_perform) EasyPerform() {
  static const auto perform = reinterpret_cast<decltype(&curl_easy_perform)>(
      dlsym(dlopen(RQB_LIBCURL_SONAME, RTLD_NOW | RTLD_NOLOAD), "curl_easy_perform"));
  return perform;
}

// The same POST through one libcurl easy handle on the calling thread, with
// the options the library sets, in us. libcurl is loaded the library's way,
// so that its first use costs the same on both sides.
double EasyUpload(const Loopback& loopback, const rqb::UrlRequest& request) {
  const Clock::time_point start = Clock::now();
  const rqb::CurlFunctions& curl = *rqb::Curl();
  CURL* easy = curl.easy_init();
  curl_slist* headers = nullptr;
  for (const auto& [field, value] : request.header_fields) {
    headers = curl.slist_append(headers, (field + ": " + value).c_str());
  }
  headers = curl.slist_append(headers, "Expect:");
  curl_slist* connect_to = curl.slist_append(nullptr, loopback.ConnectTo().c_str());
  const std::string url = std::string(RQB_PROFILER_BASE_URL) + "variables";
  char error[CURL_ERROR_SIZE] = {};
  const auto set = curl.easy_setopt;
  set(easy, CURLOPT_ERRORBUFFER, error);
  set(easy, CURLOPT_NOSIGNAL, 1L);
  set(easy, CURLOPT_URL, url.c_str());
  set(easy, CURLOPT_PROTOCOLS_STR, "https");
  set(easy, CURLOPT_SSL_VERIFYPEER, 1L);
  set(easy, CURLOPT_SSL_VERIFYHOST, 2L);
  set(easy, CURLOPT_FORBID_REUSE, 1L);
  set(easy, CURLOPT_POST, 1L);
  set(easy, CURLOPT_POSTFIELDS, request.http_body.data());
  set(easy, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.http_body.size()));
  set(easy, CURLOPT_HTTPHEADER, headers);
  set(easy, CURLOPT_WRITEFUNCTION, &DropBody);
  set(easy, CURLOPT_CONNECTTIMEOUT, 10L);
  set(easy, CURLOPT_LOW_SPEED_LIMIT, 1L);
  set(easy, CURLOPT_LOW_SPEED_TIME, 10L);
  set(easy, CURLOPT_TIMEOUT, 10L);
  set(easy, CURLOPT_CONNECT_TO, connect_to);
  set(easy, CURLOPT_PROXY, "");
  curl_blob blob{const_cast<char*>(loopback.ca_pem.data()), loopback.ca_pem.size(),
                 CURL_BLOB_NOCOPY};
  set(easy, CURLOPT_CAINFO_BLOB, &blob);
  const CURLcode result = EasyPerform()(easy);
  curl.easy_cleanup(easy);
  curl.slist_free_all(headers);
  curl.slist_free_all(connect_to);
  if (result != CURLE_OK) std::fprintf(stderr, "bench: easy upload failed: %s\n", error);
  return result == CURLE_OK ? Microseconds(Clock::now() - start) : -1;
}

// Medians of library and easy-handle uploads, interleaved.
int Uploads(const Loopback& loopback, int uploads) {
  CompletionClock& clock = RouteUploads(loopback);
  const rqb::JsonObject envelope = Envelope();
  const rqb::UrlRequest request = *RQBHttpService::getInstance().preparePost(envelope);
  RQBHttpService::getInstance().setTimeout(10);
  LibraryUpload(clock, envelope);  // the first of each is the cold figure's
  EasyUpload(loopback, request);
  std::vector<double> ours, easy;
  for (int i = 0; i < uploads; ++i) {
    ours.push_back(LibraryUpload(clock, envelope));
    easy.push_back(EasyUpload(loopback, request));
  }
  std::printf("%.1f %.1f\n", Median(ours), Median(easy));
  return 0;
}

// The first upload of a fresh process, libcurl's loading included: the
// library's, or the easy handle's.
int FirstUpload(const Loopback& loopback, bool library) {
  if (library) {
    CompletionClock& clock = RouteUploads(loopback);
    const rqb::JsonObject envelope = Envelope();
    RQBHttpService::getInstance().setTimeout(10);
    std::printf("%.1f\n", LibraryUpload(clock, envelope));
  } else {
    const rqb::JsonObject envelope = Envelope();
    const rqb::UrlRequest request = *RQBHttpService::getInstance().preparePost(envelope);
    std::printf("%.1f\n", EasyUpload(loopback, request));
  }
  return 0;
}

// Anonymous memory after one collection run and its upload, as a host makes
// them. With `system_ca` the upload verifies against the system's CA store,
// as in production, which the loopback's certificate fails after the store
// was loaded and the handshake made.
int Memory(Loopback loopback, bool system_ca) {
  if (system_ca) loopback.ca_pem.clear();
  CompletionClock& clock = RouteUploads(loopback);
  RQBehavior& behavior = RQBehavior::getInstance("shop-app-01");
  behavior.collectDeviceInformation(behavior.generateSessionId());
  if (!clock.NextCompletion()) return 1;
  // The run's thread returns right after starting the upload, and the
  // transfer thread lets go of its engine once the completion is handed on.
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  std::printf("%ld %ld\n", rqb::bench::SmapsRollupKb("Anonymous"),
              rqb::bench::SmapsRollupKb("Rss"));
  return 0;
}

// Anonymous memory after `run` runs, when `run` is a power of ten, once the
// transfer engine has gone idle.
void ReportAtPowersOfTen(int run) {
  for (int power = 1; power <= run; power *= 10) {
    if (power != run) continue;
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    std::printf("%ld ", rqb::bench::SmapsRollupKb("Anonymous"));
    std::fflush(stdout);
  }
}

// A host's long life: runs one after another, each with its upload.
int LongLife(const Loopback& loopback, int runs) {
  CompletionClock& clock = RouteUploads(loopback);
  RQBehavior& behavior = RQBehavior::getInstance("shop-app-01");
  for (int run = 1; run <= runs; ++run) {
    behavior.collectDeviceInformation(behavior.generateSessionId());
    if (!clock.NextCompletion()) return 1;
    ReportAtPowersOfTen(run);
  }
  std::printf("\n");
  return 0;
}

// The same work on one plain thread: the run's collectors, then the same
// upload through an easy handle.
int LongLifePlain(const Loopback& loopback, int runs) {
  int failed = 0;
  std::thread([&] {
    for (int run = 1; run <= runs; ++run) {
      rqb::JsonObject envelope;
      envelope.Set("Variables", CollectOnce());
      envelope.Set("SessionID", RQBehavior::getInstance("shop-app-01").generateSessionId());
      envelope.Set("App", std::string("shop-app-01"));
      const rqb::UrlRequest request = *RQBHttpService::getInstance().preparePost(envelope);
      if (EasyUpload(loopback, request) < 0) ++failed;
      ReportAtPowersOfTen(run);
    }
  }).join();
  std::printf("\n");
  return failed == 0 ? 0 : 1;
}

void PrintAddressSpace() {
  const rqb::bench::AddressSpace space = rqb::bench::AddressSpaceNow();
  std::printf("%ld %ld %ld %d %ld %d %ld %ld\n", rqb::bench::StatusKb("VmPeak"),
              rqb::bench::StatusKb("VmSize"), space.arenas_kb, space.arenas, space.stacks_kb,
              space.stacks, space.files_kb, space.other_kb);
}

// The peak address space of a process's first run and upload, and where the
// address space goes once they are done.
int AddressSpace(const Loopback& loopback) {
  CompletionClock& clock = RouteUploads(loopback);
  RQBehavior& behavior = RQBehavior::getInstance("shop-app-01");
  behavior.collectDeviceInformation(behavior.generateSessionId());
  if (!clock.NextCompletion()) return 1;
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  PrintAddressSpace();
  return 0;
}

int AddressSpacePlain(const Loopback& loopback) {
  double uploaded = -1;
  std::thread([&] {
    const rqb::JsonObject envelope = [] {
      rqb::JsonObject made;
      made.Set("Variables", CollectOnce());
      made.Set("SessionID", std::string("9B2C61D4-0E7A-4F3B-8C55-1A2D3E4F5A6B"));
      made.Set("App", std::string("shop-app-01"));
      return made;
    }();
    uploaded = EasyUpload(loopback, *RQBHttpService::getInstance().preparePost(envelope));
  }).join();
  if (uploaded < 0) return 1;
  PrintAddressSpace();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string mode = argc > 1 ? argv[1] : "";
  char** args = argv + 2;
  const int count = argc - 2;
  if (mode == "runs" && count > 0) return Runs(std::atoi(args[0]));
  if (mode == "mark" && count > 0) return Mark(std::string(args[0]) == "cold");
  if (mode == "callgrind" && count > 0) return Callgrind(std::string(args[0]) == "cold");
  if (mode == "first-thread") return FirstThread();
  if (mode == "uploads" && count > 3) return Uploads(LoopbackOf(args), std::atoi(args[3]));
  if (mode == "first-upload" && count > 2) return FirstUpload(LoopbackOf(args), true);
  if (mode == "first-easy-upload" && count > 2) return FirstUpload(LoopbackOf(args), false);
  if (mode == "long-life" && count > 3) return LongLife(LoopbackOf(args), std::atoi(args[3]));
  if (mode == "long-life-plain" && count > 3) {
    return LongLifePlain(LoopbackOf(args), std::atoi(args[3]));
  }
  if (mode == "address-space" && count > 2) return AddressSpace(LoopbackOf(args));
  if (mode == "address-space-plain" && count > 2) return AddressSpacePlain(LoopbackOf(args));
  if (mode == "memory" && count > 2) return Memory(LoopbackOf(args), false);
  if (mode == "memory-system-ca" && count > 2) return Memory(LoopbackOf(args), true);
  std::fprintf(stderr, "rqbehavior-bench-child: unknown mode '%s'\n", mode.c_str());
  return 2;
}
