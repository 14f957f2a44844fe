// What a host pays for RQBehavior, each figure beside a baseline measured in
// the same run: see bench/README.md for what each line means and how it is
// measured. The driver runs every measurement in a fresh child process (this
// same program in a child mode, the raw-reads program, or the start-up
// hosts), so that one figure never warms the caches of another, and prints
// one table.
#include <RQBehavior/RQBehavior.h>
#include <curl/curl.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "BenchSupport.h"
#include "Constants/RQBBuildConfig.h"
#include "LoopbackReceiver.h"
#include "Managers/RQBIdentityManager.h"
#include "Platform/Platform.h"
#include "Platform/UrlSession.h"
#include "Platform/linux/CurlUrlSession.h"
#include "Services/RQBHttpService.h"

namespace {

using rqb::bench::Clock;
using rqb::bench::Median;
using rqb::bench::Microseconds;
using rqb::bench::TimeUs;
using rqb::loopback::LoopbackReceiver;
using rqb::loopback::TestCertificateAuthority;

constexpr int kWarmRuns = 200;
constexpr int kFreshProcesses = 5;
constexpr int kUploads = 30;
constexpr int kStartups = 40;

// ---------------------------------------------------------------------------
// Child modes: each prints its numbers on one line of standard output.

// Runs collection steps on a thread of their own, as the background queue
// does, so that the thread's own state is warm only where a real run's is.
template <typename Work>
void OnCollectionThread(Work&& work) {
  std::thread(std::forward<Work>(work)).join();
}

rqb::JsonObject CollectOnce() { return RQBIdentifyManager::getInstance().getDeviceData(); }

extern "C" __attribute__((noinline)) void rqb_bench_measured_run() { CollectOnce(); }

// Platform set-up, the first run, and the median of warm runs, in us.
int ChildRuns(int runs) {
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
int ChildMark(bool cold) {
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

int ChildCallgrind() {
  OnCollectionThread([] {
    rqb::CurrentPlatform();
    for (int i = 0; i < 3; ++i) CollectOnce();
    rqb_bench_measured_run();
  });
  return 0;
}

// What the host's thread pays: its first getInstance, generateSessionId and
// collectDeviceInformation in a fresh process, and the same three later.
int ChildFirstCall(int later_calls) {
  const auto calls = [] {
    RQBehavior& behavior = RQBehavior::getInstance("shop-app-01");
    behavior.collectDeviceInformation(behavior.generateSessionId());
  };
  const double first = TimeUs(calls);
  std::vector<double> later;
  for (int i = 0; i < later_calls; ++i) later.push_back(TimeUs(calls));
  std::printf("%.2f %.2f\n", first, Median(later));
  std::fflush(stdout);
  // Runs and uploads are still under way: a host may leave at any moment.
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
  std::ifstream ca(argv[1]);
  return {rqb::loopback::AuthorityOfUrl(RQB_PROFILER_BASE_URL), std::atoi(argv[0]),
          std::string(std::istreambuf_iterator<char>(ca), std::istreambuf_iterator<char>())};
}

// Routes the library's uploads to the loopback receiver for the rest of the
// process, through a clock of their completions.
CompletionClock& RouteUploads(const Loopback& loopback) {
  auto* sessions = new rqb::CurlUrlSessionFactory(
      rqb::CurlUrlSessionFactory::LoopbackRoute(loopback.authority, loopback.port, loopback.ca_pem));
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
  const Clock::time_point start = Clock::now();
  RQBHttpService::getInstance().sendDeviceFullInfo(envelope);
  const std::optional<Clock::time_point> done = clock.NextCompletion();
  return done ? Microseconds(*done - start) : -1;
}

size_t DropBody(char*, size_t size, size_t count, void*) { return size * count; }

// The same POST through one libcurl easy handle on the calling thread, with
// the options the library sets, in us.
double EasyUpload(const Loopback& loopback, const rqb::UrlRequest& request) {
  const Clock::time_point start = Clock::now();
  CURL* easy = curl_easy_init();
  curl_slist* headers = nullptr;
  for (const auto& [field, value] : request.header_fields) {
    headers = curl_slist_append(headers, (field + ": " + value).c_str());
  }
  headers = curl_slist_append(headers, "Expect:");
  curl_slist* connect_to = curl_slist_append(nullptr, loopback.ConnectTo().c_str());
  const std::string url = std::string(RQB_PROFILER_BASE_URL) + "variables";
  char error[CURL_ERROR_SIZE] = {};
  curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, error);
  curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(easy, CURLOPT_URL, url.c_str());
  curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "https");
  curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 1L);
  curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 2L);
  curl_easy_setopt(easy, CURLOPT_FORBID_REUSE, 1L);
  curl_easy_setopt(easy, CURLOPT_POST, 1L);
  curl_easy_setopt(easy, CURLOPT_POSTFIELDS, request.http_body.data());
  curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE,
                   static_cast<curl_off_t>(request.http_body.size()));
  curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headers);
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &DropBody);
  curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT, 10L);
  curl_easy_setopt(easy, CURLOPT_LOW_SPEED_LIMIT, 1L);
  curl_easy_setopt(easy, CURLOPT_LOW_SPEED_TIME, 10L);
  curl_easy_setopt(easy, CURLOPT_TIMEOUT, 10L);
  curl_easy_setopt(easy, CURLOPT_CONNECT_TO, connect_to);
  curl_easy_setopt(easy, CURLOPT_PROXY, "");
  curl_blob blob{const_cast<char*>(loopback.ca_pem.data()), loopback.ca_pem.size(),
                 CURL_BLOB_NOCOPY};
  curl_easy_setopt(easy, CURLOPT_CAINFO_BLOB, &blob);
  const CURLcode result = curl_easy_perform(easy);
  curl_easy_cleanup(easy);
  curl_slist_free_all(headers);
  curl_slist_free_all(connect_to);
  if (result != CURLE_OK) std::fprintf(stderr, "bench: easy upload failed: %s\n", error);
  return result == CURLE_OK ? Microseconds(Clock::now() - start) : -1;
}

// Medians of library and easy-handle uploads, interleaved.
int ChildUploads(const Loopback& loopback, int uploads) {
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

// The first upload of a fresh process: the library's, or the easy handle's.
int ChildFirstUpload(const Loopback& loopback, bool library) {
  curl_global_init(CURL_GLOBAL_DEFAULT);
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
int ChildMemory(Loopback loopback, bool system_ca) {
  if (system_ca) loopback.ca_pem.clear();
  CompletionClock& clock = RouteUploads(loopback);
  RQBehavior& behavior = RQBehavior::getInstance("shop-app-01");
  behavior.collectDeviceInformation(behavior.generateSessionId());
  if (!clock.NextCompletion()) return 1;
  // The run's thread returns right after starting the upload; let it.
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  std::printf("%ld %ld\n", rqb::bench::SmapsRollupKb("Anonymous"),
              rqb::bench::SmapsRollupKb("Rss"));
  return 0;
}

int ChildMain(int argc, char** argv) {
  const std::string mode = argc > 0 ? argv[0] : "";
  if (mode == "runs" && argc > 1) return ChildRuns(std::atoi(argv[1]));
  if (mode == "mark" && argc > 1) return ChildMark(std::string(argv[1]) == "cold");
  if (mode == "callgrind") return ChildCallgrind();
  if (mode == "first-call" && argc > 1) return ChildFirstCall(std::atoi(argv[1]));
  if (mode == "uploads" && argc > 3) return ChildUploads(LoopbackOf(argv + 1), std::atoi(argv[3]));
  if (mode == "first-upload" && argc > 2) return ChildFirstUpload(LoopbackOf(argv + 1), true);
  if (mode == "first-easy-upload" && argc > 2) return ChildFirstUpload(LoopbackOf(argv + 1), false);
  if (mode == "memory" && argc > 2) return ChildMemory(LoopbackOf(argv + 1), false);
  if (mode == "memory-system-ca" && argc > 2) return ChildMemory(LoopbackOf(argv + 1), true);
  std::fprintf(stderr, "bench: unknown child mode '%s'\n", mode.c_str());
  return 2;
}

// ---------------------------------------------------------------------------
// The driver.

struct Output {
  std::string out;
  std::string err;
  bool ok = false;
};

std::string ReadAll(int fd) {
  std::string text;
  char buffer[4096];
  for (ssize_t got; (got = read(fd, buffer, sizeof buffer)) > 0;) text.append(buffer, got);
  close(fd);
  return text;
}

// Runs `command` to its end and returns what it printed.
Output Run(const std::vector<std::string>& command, const std::vector<std::string>& env = {}) {
  std::string err_path = "/tmp/rqbehavior-bench-err-" + std::to_string(getpid());
  int out_pipe[2];
  if (pipe(out_pipe) != 0) std::abort();
  const pid_t child = fork();
  if (child == 0) {
    dup2(out_pipe[1], 1);
    close(out_pipe[0]);
    close(out_pipe[1]);
    const int err = open(err_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (err >= 0) dup2(err, 2);
    for (const std::string& assignment : env) putenv(strdup(assignment.c_str()));
    std::vector<char*> args;
    for (const std::string& word : command) args.push_back(const_cast<char*>(word.c_str()));
    args.push_back(nullptr);
    execvp(args[0], args.data());
    _exit(127);
  }
  close(out_pipe[1]);
  Output output;
  output.out = ReadAll(out_pipe[0]);
  int status = 0;
  waitpid(child, &status, 0);
  std::ifstream err(err_path);
  output.err.assign(std::istreambuf_iterator<char>(err), std::istreambuf_iterator<char>());
  unlink(err_path.c_str());
  output.ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;
  return output;
}

std::vector<double> Numbers(const std::string& text) {
  std::istringstream in(text);
  std::vector<double> numbers;
  for (double number; in >> number;) numbers.push_back(number);
  return numbers;
}

// The median of each column of what `command` prints, over several fresh
// processes.
std::vector<double> MedianOverProcesses(const std::vector<std::string>& command,
                                        const std::vector<std::string>& env = {},
                                        int processes = kFreshProcesses) {
  std::vector<std::vector<double>> columns;
  for (int i = 0; i < processes; ++i) {
    const Output output = Run(command, env);
    const std::vector<double> numbers = Numbers(output.out);
    if (!output.ok || numbers.empty()) {
      std::fprintf(stderr, "bench: %s failed: %s\n", command[1].c_str(), output.err.c_str());
      continue;
    }
    columns.resize(std::max(columns.size(), numbers.size()));
    for (std::size_t c = 0; c < numbers.size(); ++c) columns[c].push_back(numbers[c]);
  }
  std::vector<double> medians;
  for (const auto& column : columns) medians.push_back(Median(column));
  return medians;
}

struct SyscallCount {
  long calls = -1;
  long sockets = -1;
};

// System calls made between the begin and end markers, on every thread.
SyscallCount CountSyscalls(const std::vector<std::string>& command,
                           const std::vector<std::string>& env, const std::string& folder) {
  const std::string trace = folder + "/trace";
  std::vector<std::string> traced = {"strace", "-f", "-qq", "-o", trace};
  traced.insert(traced.end(), command.begin(), command.end());
  if (!Run(traced, env).ok) return {};
  std::ifstream lines(trace);
  SyscallCount count{0, 0};
  bool inside = false;
  for (std::string line; std::getline(lines, line);) {
    if (line.find("rqb-bench-mark/begin") != std::string::npos) {
      inside = true;
      continue;
    }
    if (line.find("rqb-bench-mark/end") != std::string::npos) break;
    if (!inside || line.find("resumed>") != std::string::npos) continue;
    // "<pid> <call>(...": skip the pid, then signals and exits.
    const std::size_t call = line.find_first_not_of("0123456789 ");
    if (call == std::string::npos || line[call] == '-' || line[call] == '+') continue;
    ++count.calls;
    if (line.compare(call, 7, "socket(") == 0) ++count.sockets;
  }
  unlink(trace.c_str());
  return count;
}

// User-space instructions of the function `function` (callgrind), or -1.
long CountInstructions(const std::vector<std::string>& command, const std::vector<std::string>& env,
                       const std::string& folder, const std::string& function) {
  const std::string out = folder + "/callgrind.out";
  std::vector<std::string> profiled = {"valgrind", "--tool=callgrind",
                                       "--callgrind-out-file=" + out,
                                       "--toggle-collect=" + function};
  profiled.insert(profiled.end(), command.begin(), command.end());
  if (!Run(profiled, env).ok) return -1;
  std::ifstream lines(out);
  long total = -1;
  for (std::string line; std::getline(lines, line);) {
    if (line.rfind("totals:", 0) == 0 || line.rfind("summary:", 0) == 0) {
      total = std::atol(line.c_str() + line.find(':') + 1);
    }
  }
  unlink(out.c_str());
  return total;
}

bool Installed(const char* program) {
  return Run({"sh", "-c", std::string("command -v ") + program}).ok;
}

// A throw-away D-Bus daemon of the system type, with no services on it.
class PrivateSystemBus {
 public:
  explicit PrivateSystemBus(const std::string& folder) : socket_(folder + "/system_bus_socket") {
    const std::string config = folder + "/system-bus.conf";
    std::ofstream(config)
        << "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
           " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
           "<busconfig><type>system</type><listen>unix:path="
        << socket_
        << "</listen><auth>EXTERNAL</auth><policy context=\"default\">"
           "<allow user=\"*\"/><allow own=\"*\"/><allow send_type=\"method_call\"/>"
           "<allow send_requested_reply=\"true\" send_type=\"method_return\"/>"
           "<allow send_requested_reply=\"true\" send_type=\"error\"/>"
           "<allow receive_type=\"method_call\"/><allow receive_type=\"method_return\"/>"
           "<allow receive_type=\"error\"/><allow receive_type=\"signal\"/>"
           "</policy></busconfig>\n";
    pid_ = fork();
    if (pid_ == 0) {
      const int null = open("/dev/null", O_WRONLY);
      dup2(null, 1);
      dup2(null, 2);
      execlp("dbus-daemon", "dbus-daemon", ("--config-file=" + config).c_str(), "--nofork",
             "--nopidfile", static_cast<char*>(nullptr));
      _exit(127);
    }
    struct stat info {};
    for (int i = 0; i < 500 && stat(socket_.c_str(), &info) != 0; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    up_ = stat(socket_.c_str(), &info) == 0;
  }
  ~PrivateSystemBus() {
    if (pid_ > 0) {
      kill(pid_, SIGTERM);
      waitpid(pid_, nullptr, 0);
    }
  }
  bool up() const { return up_; }
  std::string Address() const { return "unix:path=" + socket_; }

 private:
  std::string socket_;
  pid_t pid_ = -1;
  bool up_ = false;
};

// Runs the receiver in a child process, which reports its port on a pipe.
pid_t StartReceiverProcess(const TestCertificateAuthority& ca, const std::string& host, int* port) {
  int fds[2];
  if (pipe(fds) != 0) std::abort();
  const pid_t child = fork();
  if (child == 0) {
    close(fds[0]);
    LoopbackReceiver receiver(ca, host);
    const int listening = receiver.port();
    if (write(fds[1], &listening, sizeof listening) != sizeof listening) _exit(1);
    for (;;) pause();
  }
  close(fds[1]);
  if (read(fds[0], port, sizeof *port) != sizeof *port) *port = 0;
  close(fds[0]);
  return child;
}

struct StartupFigures {
  double median_us = -1;
  long objects = -1;
  long relocations = -1;  // symbol relocations, each a symbol lookup
  long anonymous_kb = -1;
};

long StatisticOf(const std::string& text, const std::string& name) {
  const std::size_t at = text.find(name);
  return at == std::string::npos ? 0 : std::atol(text.c_str() + at + name.size());
}

StartupFigures Startup(const std::string& host, const std::vector<double>& times) {
  StartupFigures figures;
  figures.median_us = Median(times);
  const Output statistics = Run({host}, {"LD_DEBUG=statistics"});
  figures.relocations = StatisticOf(statistics.err, "number of relocations:");
  const std::vector<double> report = Numbers(Run({host}, {"RQB_HOST_REPORT=1"}).out);
  if (report.size() >= 2) {
    figures.objects = static_cast<long>(report[0]);
    figures.anonymous_kb = static_cast<long>(report[1]);
  }
  return figures;
}

double Get(const std::vector<double>& values, std::size_t index) {
  return index < values.size() ? values[index] : -1;
}

std::string Us(double us) {
  char text[32];
  if (us < 0) return "n/a";
  if (us >= 1000) {
    std::snprintf(text, sizeof text, "%.2f ms", us / 1000);
  } else {
    std::snprintf(text, sizeof text, "%.1f us", us);
  }
  return text;
}

void Row(const std::string& figure, const std::string& ours, const std::string& base, double ratio,
         const std::string& goal) {
  char ratio_text[32] = "-";
  if (ratio > 0) std::snprintf(ratio_text, sizeof ratio_text, "%.2fx", ratio);
  std::printf("%-52s %18s %18s %9s  %s\n", figure.c_str(), ours.c_str(), base.c_str(), ratio_text,
              goal.c_str());
}

double Ratio(double ours, double base) { return ours > 0 && base > 0 ? ours / base : -1; }

int DriverMain(const std::string& self) {
  const std::string bin = self.substr(0, self.rfind('/') + 1);
  const std::string raw = bin + "rqbehavior-raw-reads";
  const std::string host_with = bin + "rqbehavior-host-with-library";
  const std::string host_without = bin + "rqbehavior-host-without-library";

  // A private home, so that the preferences the runs keep stay out of the
  // developer's own.
  char folder_template[] = "/tmp/rqbehavior-bench-XXXXXX";
  const std::string folder = mkdtemp(folder_template);
  setenv("HOME", (folder + "/home").c_str(), 1);
  setenv("XDG_CONFIG_HOME", (folder + "/home/.config").c_str(), 1);
  Run({"mkdir", "-p", folder + "/home/.config"});

  const std::string host = rqb::loopback::HostOfUrl(RQB_PROFILER_BASE_URL);
  TestCertificateAuthority ca;
  int port = 0;
  const pid_t receiver = StartReceiverProcess(ca, host, &port);
  const std::string ca_path = folder + "/ca.pem";
  std::ofstream(ca_path) << ca.CertificatePem();
  const std::string port_text = std::to_string(port);

  PrivateSystemBus bus(folder);
  const std::string no_bus = "DBUS_SYSTEM_BUS_ADDRESS=unix:path=" + folder + "/no-bus";
  const std::string with_bus = "DBUS_SYSTEM_BUS_ADDRESS=" + bus.Address();

  // The first run of all writes the preferences file that every later one
  // reads.
  Run({self, "child", "runs", "1"}, {no_bus});

  std::fprintf(stderr, "bench: collection runs...\n");
  const auto lib =
      MedianOverProcesses({self, "child", "runs", std::to_string(kWarmRuns)}, {no_bus});
  const auto base = MedianOverProcesses({raw, "runs", std::to_string(kWarmRuns)}, {no_bus});
  std::vector<double> lib_bus, base_bus;
  if (bus.up()) {
    lib_bus = MedianOverProcesses({self, "child", "runs", std::to_string(kWarmRuns)}, {with_bus});
    base_bus = MedianOverProcesses({raw, "runs", std::to_string(kWarmRuns)}, {with_bus});
  }

  std::fprintf(stderr, "bench: system calls...\n");
  SyscallCount lib_calls, base_calls, lib_cold_calls, base_cold_calls, lib_bus_calls,
      base_bus_calls;
  const bool have_strace = Installed("strace");
  if (have_strace) {
    lib_calls = CountSyscalls({self, "child", "mark", "warm"}, {no_bus}, folder);
    base_calls = CountSyscalls({raw, "mark", "warm"}, {no_bus}, folder);
    lib_cold_calls = CountSyscalls({self, "child", "mark", "cold"}, {no_bus}, folder);
    base_cold_calls = CountSyscalls({raw, "mark", "cold"}, {no_bus}, folder);
    if (bus.up()) {
      lib_bus_calls = CountSyscalls({self, "child", "mark", "warm"}, {with_bus}, folder);
      base_bus_calls = CountSyscalls({raw, "mark", "warm"}, {with_bus}, folder);
    }
  }
  long lib_instructions = -1, base_instructions = -1;
  if (Installed("valgrind")) {
    std::fprintf(stderr, "bench: instruction counts...\n");
    lib_instructions =
        CountInstructions({self, "child", "callgrind"}, {no_bus}, folder, "rqb_bench_measured_run");
    base_instructions =
        CountInstructions({raw, "callgrind"}, {no_bus}, folder, "rqb_bench_measured_pass");
  }

  std::fprintf(stderr, "bench: first calls, uploads, start-up, memory...\n");
  const auto first_call = MedianOverProcesses({self, "child", "first-call", "20"}, {no_bus});
  const auto uploads = MedianOverProcesses(
      {self, "child", "uploads", port_text, ca_path, std::to_string(kUploads)}, {no_bus}, 1);
  const auto first_upload =
      MedianOverProcesses({self, "child", "first-upload", port_text, ca_path}, {no_bus});
  const auto first_easy =
      MedianOverProcesses({self, "child", "first-easy-upload", port_text, ca_path}, {no_bus});

  std::vector<double> with_times, without_times;
  for (int i = 0; i < kStartups; ++i) {
    with_times.push_back(TimeUs([&] { Run({host_with}); }));
    without_times.push_back(TimeUs([&] { Run({host_without}); }));
  }
  const StartupFigures with = Startup(host_with, with_times);
  const StartupFigures without = Startup(host_without, without_times);
  const auto memory =
      MedianOverProcesses({self, "child", "memory", port_text, ca_path}, {no_bus}, 3);
  const auto memory_system_ca =
      MedianOverProcesses({self, "child", "memory-system-ca", port_text, ca_path}, {no_bus}, 3);

  kill(receiver, SIGKILL);
  waitpid(receiver, nullptr, 0);
  Run({"rm", "-rf", folder});

  // The table.
  std::printf("%-52s %18s %18s %9s  %s\n", "figure", "library", "baseline", "ratio", "goal");
  const double warm = Get(lib, 2), warm_base = Get(base, 1);
  Row("warm collection run, no upload", Us(warm), Us(warm_base), Ratio(warm, warm_base),
      "<= 1.5x raw reads");
  const double cold = Get(lib, 0) + Get(lib, 1), cold_base = Get(base, 0);
  Row("  cold: first run of a process, set-up included", Us(cold), Us(cold_base),
      Ratio(cold, cold_base), "<= 1.2x");
  Row("    of which platform set-up", Us(Get(lib, 0)), "", -1, "");
  if (bus.up()) {
    const double bus_warm = Get(lib_bus, 2), bus_base = Get(base_bus, 1);
    Row("warm run, system bus up, no location/modem service", Us(bus_warm), Us(bus_base),
        Ratio(bus_warm, bus_base), "<= 1.5x raw reads");
    const double bus_cold = Get(lib_bus, 0) + Get(lib_bus, 1), bus_cold_base = Get(base_bus, 0);
    Row("  cold: first run of a process, set-up included", Us(bus_cold), Us(bus_cold_base),
        Ratio(bus_cold, bus_cold_base), "");
  } else {
    Row("warm run, system bus up (no dbus-daemon here)", "n/a", "n/a", -1, "");
  }
  const auto calls = [](const SyscallCount& count) {
    return count.calls < 0
               ? std::string("n/a")
               : std::to_string(count.calls) + " (" + std::to_string(count.sockets) + " sockets)";
  };
  Row("system calls per warm run", calls(lib_calls), calls(base_calls),
      Ratio(lib_calls.calls, base_calls.calls), "");
  Row("  cold: first run of a process, set-up included", calls(lib_cold_calls),
      calls(base_cold_calls), Ratio(lib_cold_calls.calls, base_cold_calls.calls), "");
  if (bus.up()) {
    Row("  warm, system bus up", calls(lib_bus_calls), calls(base_bus_calls),
        Ratio(lib_bus_calls.calls, base_bus_calls.calls), "");
  }
  const auto count_text = [](long count) {
    return count < 0 ? std::string("n/a") : std::to_string(count);
  };
  Row("instructions per warm run (callgrind, user space)", count_text(lib_instructions),
      count_text(base_instructions), Ratio(lib_instructions, base_instructions), "");
  Row("first calls of a process on the host's thread", Us(Get(first_call, 0)),
      Us(Get(first_call, 1)) + " later", Ratio(Get(first_call, 0), Get(first_call, 1)), "<= 20 us");
  Row("HTTPS upload to loopback, call to completion", Us(Get(uploads, 0)), Us(Get(uploads, 1)),
      Ratio(Get(uploads, 0), Get(uploads, 1)), "<= 1.05x easy handle");
  Row("  cold: first upload of a process", Us(Get(first_upload, 0)), Us(Get(first_easy, 0)),
      Ratio(Get(first_upload, 0), Get(first_easy, 0)), "");
  Row("host start-up, linked but never called", Us(with.median_us), Us(without.median_us),
      Ratio(with.median_us, without.median_us), "<= 2x host without");
  Row("  shared objects loaded", count_text(with.objects), count_text(without.objects),
      Ratio(with.objects, without.objects), "");
  Row("  symbol relocations (LD_DEBUG=statistics)", count_text(with.relocations),
      count_text(without.relocations), Ratio(with.relocations, without.relocations), "");
  Row("  anonymous memory at exit (kB)", count_text(with.anonymous_kb),
      count_text(without.anonymous_kb), -1, "");
  Row("anonymous memory after one run and upload (kB)",
      count_text(static_cast<long>(Get(memory_system_ca, 0))),
      count_text(without.anonymous_kb) + " host", -1, "<= 2048 kB");
  Row("  with the test CA instead of the system's CA store",
      count_text(static_cast<long>(Get(memory, 0))), "", -1, "");
  std::printf("wall-clock figures are indicative on a shared machine; counts are stable\n");
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1 && std::string(argv[1]) == "child") return ChildMain(argc - 2, argv + 2);
  char self[4096];
  const ssize_t length = readlink("/proc/self/exe", self, sizeof self - 1);
  if (length <= 0) return 1;
  self[length] = '\0';
  return DriverMain(self);
}
