#include "Platform/linux/CurlUrlSession.h"

#include <malloc.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "Platform/ForkGate.h"
#include "Platform/PerProcess.h"
#include "Platform/ThreadPool.h"
#include "Platform/linux/CurlLibrary.h"
#include "Platform/linux/LinuxThreads.h"
#include "Platform/linux/RuntimeLibrary.h"
#include "Platform/linux/TlsLibrary.h"

namespace rqb {

// What every transfer of a factory's sessions shares.
struct CurlSessionSettings {
  std::vector<std::string> connect_to;
  // Replaces the system's CA bundle when not empty.
  std::string trusted_ca_pem;
};

namespace {

// Transfers in flight at once; the rest wait in order. Keeps a burst of
// uploads from opening hundreds of TLS connections together.
constexpr std::size_t kMaxActiveTransfers = 8;

// How long the transfer thread waits for its connections at most, so that
// waiting transfers whose time-out ran out are failed promptly.
constexpr std::chrono::milliseconds kLongestPoll{1000};

using Clock = std::chrono::steady_clock;

// The descriptors of the connections that transfers have open. Touched by
// the transfer thread inside LibrarySections only, so that a fork, which waits for
// those, never copies the set half-changed.
std::unordered_set<curl_socket_t>& OpenSockets() {
  static auto* const sockets = new std::unordered_set<curl_socket_t>();
  return *sockets;
}

// In a forked child, before the host's code goes on: the child shares the
// parent's connections and closes its copies of their descriptors, which sends
// nothing while the parent holds them. Closed later, their numbers could
// belong to files the child has opened since.
void CloseInheritedSockets() {
  for (const curl_socket_t fd : OpenSockets()) close(fd);
  OpenSockets().clear();
}

// Registered when the library is loaded, before any upload: a registration
// made later, by a library thread, could itself be cut off by a fork.
[[maybe_unused]] const bool g_closing_after_fork =
    pthread_atfork(nullptr, nullptr, &CloseInheritedSockets) == 0;

struct SlistDeleter {
  const CurlFunctions* curl;
  void operator()(curl_slist* list) const { curl->slist_free_all(list); }
};
using Slist = std::unique_ptr<curl_slist, SlistDeleter>;

struct EasyDeleter {
  const CurlFunctions* curl;
  void operator()(CURL* easy) const { curl->easy_cleanup(easy); }
};
using Easy = std::unique_ptr<CURL, EasyDeleter>;

Slist ToSlist(const CurlFunctions& curl, const std::vector<std::string>& lines) {
  Slist list(nullptr, SlistDeleter{&curl});
  for (const std::string& line : lines) {
    curl_slist* grown = curl.slist_append(list.get(), line.c_str());
    if (grown == nullptr) return Slist(nullptr, SlistDeleter{&curl});
    list.release();
    list.reset(grown);
  }
  return list;
}

// One data task, owned by the engine from Start() until its completion is
// handed to the delegate queue.
struct Transfer {
  UrlRequest request;
  UrlSessionConfiguration configuration;
  std::shared_ptr<const CurlSessionSettings> settings;
  DataTaskCompletionHandler completion;
  // When the resource time-out runs out, counted from the task's start as the
  // platform counts it, the wait for a free slot included; none without one.
  std::optional<Clock::time_point> deadline;

  Easy easy{nullptr, EasyDeleter{}};
  Slist headers{nullptr, SlistDeleter{}};
  Slist connect_to{nullptr, SlistDeleter{}};
  char error_buffer[CURL_ERROR_SIZE] = {};
};

// How a transfer ended, for its completion.
struct Outcome {
  DataTaskCompletionHandler completion;
  std::optional<UrlResponse> response;
  std::optional<UrlError> error;
};

// The transfers of one process. A forked child starts with a fresh one: the
// parent's transfer thread does not exist there, and the parent's transfers
// are the parent's to finish, never to be sent twice.
struct EngineState {
  std::mutex mutex;
  std::condition_variable arrived;                // a transfer waits; the thread has no multi
  std::deque<std::unique_ptr<Transfer>> waiting;  // guarded by mutex
  bool running = false;                           // the transfer thread is up; guarded by mutex
  // The transfer thread's multi handle; none while there is nothing to
  // transfer. Set and cleared by that thread under mutex.
  CURLM* multi = nullptr;

  // The transfer thread's own. The child never touches its parent's: any
  // call into libcurl or OpenSSL on them could write to the parent's TLS
  // streams.
  std::unordered_map<CURL*, std::unique_ptr<Transfer>> active;
};

// The transfer thread opens every socket itself, so that it knows which
// descriptors are its own; close-on-exec, so that a program the host starts
// does not inherit a connection.
curl_socket_t OpenSocket(void*, curlsocktype, curl_sockaddr* address) {
  const int fd = socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
  if (fd < 0) return CURL_SOCKET_BAD;
  try {
    OpenSockets().insert(fd);
  } catch (...) {
    close(fd);
    return CURL_SOCKET_BAD;
  }
  return fd;
}

int CloseSocket(void*, curl_socket_t fd) {
  OpenSockets().erase(fd);
  return close(fd);
}

// The host of `url` in lower case without a final dot, or "" when the URL
// cannot be parsed.
std::string HostOf(const CurlFunctions& curl, const std::string& url) {
  CURLU* parsed = curl.url();
  if (parsed == nullptr) return {};
  std::string host;
  char* part = nullptr;
  if (curl.url_set(parsed, CURLUPART_URL, url.c_str(), 0) == CURLUE_OK &&
      curl.url_get(parsed, CURLUPART_HOST, &part, 0) == CURLUE_OK) {
    host = part;
    curl.free(part);
  }
  curl.url_cleanup(parsed);
  std::transform(host.begin(), host.end(), host.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  if (host.ends_with('.')) host.pop_back();
  return host;
}

// Names under "invalid." never exist, and a resolver answers for them at
// once, without asking anyone: a build that keeps its placeholder service
// host sends nothing off the machine, not even a look-up. Such an upload fails
// as one to an unknown host does, unless a route of the session's takes it
// elsewhere without a look-up. The description of why, or nothing.
std::optional<std::string> RefusedWithoutLookUp(const CurlFunctions& curl,
                                                const Transfer& transfer) {
  if (!transfer.request.url) return std::nullopt;
  const std::string host = HostOf(curl, *transfer.request.url);
  if (host != "invalid" && !host.ends_with(".invalid")) return std::nullopt;
  for (const std::string& route : transfer.settings->connect_to) {
    std::string routed = route.substr(0, route.find(':'));
    std::transform(routed.begin(), routed.end(), routed.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (routed.empty() || routed == host) return std::nullopt;
  }
  return "Could not resolve host: " + host;
}

// The service never reads an answer's body: it is dropped as it arrives, so
// that an endless or huge body costs no memory.
size_t DiscardReceived(char*, size_t size, size_t count, void*) { return size * count; }

// Whole seconds for libcurl; zero, negative or not-a-number means no limit.
long LimitSeconds(double seconds) {
  if (!(seconds > 0)) return 0;
  return seconds >= 1e9 ? 1'000'000'000L : static_cast<long>(std::ceil(seconds));
}

// Prepares `transfer`'s easy handle; returns a description of the failure.
std::optional<std::string> Configure(const CurlFunctions& curl, Transfer& transfer) {
  if (!transfer.request.url) return std::string("unsupported URL");
  transfer.easy = Easy(curl.easy_init(), EasyDeleter{&curl});
  CURL* easy = transfer.easy.get();
  if (easy == nullptr) return std::string("could not create a transfer");

  std::vector<std::string> header_lines;
  header_lines.reserve(transfer.request.header_fields.size() + 1);
  for (const auto& [field, value] : transfer.request.header_fields) {
    header_lines.push_back(field + ": " + value);
  }
  header_lines.emplace_back("Expect:");  // send the body at once, no 100-continue round trip
  transfer.headers = ToSlist(curl, header_lines);
  if (!transfer.settings->connect_to.empty()) {
    transfer.connect_to = ToSlist(curl, transfer.settings->connect_to);
  }

  const auto set = curl.easy_setopt;
  set(easy, CURLOPT_PRIVATE, &transfer);
  set(easy, CURLOPT_ERRORBUFFER, transfer.error_buffer);
  set(easy, CURLOPT_NOSIGNAL, 1L);
  set(easy, CURLOPT_OPENSOCKETFUNCTION, &OpenSocket);
  set(easy, CURLOPT_CLOSESOCKETFUNCTION, &CloseSocket);
  set(easy, CURLOPT_URL, transfer.request.url->c_str());
  set(easy, CURLOPT_PROTOCOLS_STR, "https");
  set(easy, CURLOPT_SSL_VERIFYPEER, 1L);
  set(easy, CURLOPT_SSL_VERIFYHOST, 2L);
  // Every task owns its connection, as every upload owns its session.
  set(easy, CURLOPT_FORBID_REUSE, 1L);
  if (transfer.request.http_method == "POST") {
    set(easy, CURLOPT_POST, 1L);
  } else if (transfer.request.http_method != "GET") {
    set(easy, CURLOPT_CUSTOMREQUEST, transfer.request.http_method.c_str());
  }
  if (transfer.request.http_method != "GET" || !transfer.request.http_body.empty()) {
    set(easy, CURLOPT_POSTFIELDS, transfer.request.http_body.data());
    set(easy, CURLOPT_POSTFIELDSIZE_LARGE,
        static_cast<curl_off_t>(transfer.request.http_body.size()));
  }
  set(easy, CURLOPT_HTTPHEADER, transfer.headers.get());
  set(easy, CURLOPT_WRITEFUNCTION, &DiscardReceived);

  // The request time-out is an idle time-out: no byte for that long ends the
  // transfer. The resource time-out bounds the whole transfer.
  const long idle = LimitSeconds(transfer.configuration.timeout_interval_for_request);
  if (idle > 0) {
    set(easy, CURLOPT_CONNECTTIMEOUT, idle);
    set(easy, CURLOPT_LOW_SPEED_LIMIT, 1L);
    set(easy, CURLOPT_LOW_SPEED_TIME, idle);
  }
  // What is left of the resource time-out, which began when the task did.
  long remaining_ms = 0;
  if (transfer.deadline) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(*transfer.deadline - Clock::now());
    remaining_ms = std::max<long>(1, static_cast<long>(left.count()));
  }
  set(easy, CURLOPT_TIMEOUT_MS, remaining_ms);

  if (transfer.connect_to) {
    set(easy, CURLOPT_CONNECT_TO, transfer.connect_to.get());
    set(easy, CURLOPT_PROXY, "");
  }
  if (!transfer.settings->trusted_ca_pem.empty()) {
    // A small bundle, parsed for every connection.
    curl_blob blob{const_cast<char*>(transfer.settings->trusted_ca_pem.data()),
                   transfer.settings->trusted_ca_pem.size(), CURL_BLOB_NOCOPY};
    set(easy, CURLOPT_CAINFO_BLOB, &blob);
  } else if (const curl_version_info_data* version = curl.version_info(CURLVERSION_NOW);
             version != nullptr && version->capath != nullptr) {
    // The system's CA store, as the folder of its certificates by subject
    // hash (/etc/ssl/certs) rather than as one bundle: OpenSSL then reads the
    // few certificates a chain needs, where the bundle would be parsed whole
    // (some 140 certificates) and kept parsed, about 0.8 MB. The same
    // certificates are trusted either way.
    set(easy, CURLOPT_CAINFO, static_cast<const char*>(nullptr));
  }
  return std::nullopt;
}

// Drives every transfer of the process on one thread through one multi
// handle, and runs their completions on one delegate thread. Created on first
// use and never destroyed. Nothing of it exists before the first upload: the
// first Start() loads libcurl and starts the transfer thread, both from the
// thread that uploads (a collection thread), whose priority the transfer
// thread inherits.
class TransferEngine {
 public:
  static TransferEngine& Instance() {
    return MakeOnce([] { return new TransferEngine(); });
  }

  // Queues `transfer`. When libcurl cannot be loaded, or there is no
  // transfer thread and none can be started, the transfer fails at once with
  // a transport error, so nothing piles up while threads cannot be made.
  void Start(std::unique_ptr<Transfer> transfer) {
    std::string why;
    const CurlFunctions* curl = Curl(&why);
    if (curl == nullptr) {
      Complete({std::move(transfer->completion), std::nullopt, UrlError{why}});
      return;
    }
    if (std::optional<std::string> refused = RefusedWithoutLookUp(*curl, *transfer)) {
      Complete({std::move(transfer->completion), std::nullopt, UrlError{std::move(*refused)}});
      return;
    }
    EngineState& state = states_.Get();
    std::optional<std::string> failure;
    {
      std::lock_guard lock(state.mutex);
      if (!state.running) failure = StartThread(*curl, state);
      if (!failure) {
        state.waiting.push_back(std::move(transfer));
        // The thread waits in libcurl while it has a multi handle, else on
        // the condition. Woken under the lock, so that the handle it wakes
        // cannot be released meanwhile.
        if (state.multi != nullptr) {
          curl->multi_wakeup(state.multi);
        } else {
          state.arrived.notify_one();
        }
      }
    }
    if (failure) Complete({std::move(transfer->completion), std::nullopt, UrlError{*failure}});
  }

 private:
  TransferEngine()
      : delegate_queue_(1, [](std::function<void()> body) {
          return StartLibraryThread("rqb-delegate", ThreadPriority::kInherited, std::move(body));
        }) {}

  // Under state.mutex. Returns why the thread could not start.
  std::optional<std::string> StartThread(const CurlFunctions& curl, EngineState& state) {
    const std::error_code refused = StartLibraryThread("rqb-transfer", ThreadPriority::kInherited,
                                                       [this, &curl, &state] { Run(curl, state); });
    if (refused) return "could not start the transfer thread: " + refused.message();
    state.running = true;
    return std::nullopt;
  }

  void Run(const CurlFunctions& curl, EngineState& state) {
    // A completion that runs here, when the delegate queue has no thread,
    // may end this thread (a host's log handler that calls pthread_exit).
    // The engine then counts as stopped and drops what it was transferring,
    // so that the next upload starts a thread of its own and flush() does not
    // wait for the dropped ones.
    struct Stopped {
      EngineState& state;
      ~Stopped() {
        const LibrarySection tls;
        std::lock_guard lock(state.mutex);
        state.running = false;
        state.multi = nullptr;  // left to the dropped transfers' handles
        state.active.clear();
      }
    } stopped{state};
    std::vector<Outcome> finished;
    for (;;) {
      CURLM* multi = WaitForWork(curl, state);
      if (multi == nullptr) {
        // No engine could be made: what waits fails, and the next upload
        // tries again.
        FailWaiting(state, "could not create the transfer engine");
        continue;
      }
      {
        const LibrarySection tls;
        Admit(curl, state, multi, finished);
        int running = 0;
        curl.multi_perform(multi, &running);
        int queued = 0;
        while (CURLMsg* message = curl.multi_info_read(multi, &queued)) {
          if (message->msg != CURLMSG_DONE) continue;
          if (std::optional<Outcome> outcome =
                  Finish(curl, state, multi, message->easy_handle, message->data.result)) {
            finished.push_back(std::move(*outcome));
          }
        }
      }
      const std::chrono::milliseconds poll = ExpireWaiting(state, finished);
      for (Outcome& outcome : finished) Complete(std::move(outcome));
      finished.clear();
      if (!state.active.empty()) {
        curl.multi_poll(multi, nullptr, 0, static_cast<int>(poll.count()), nullptr);
      }
    }
  }

  // The multi handle to drive, once there is something to do. While no
  // transfer is active or waiting, the thread holds no multi handle: it is
  // released with what it caches (the parsed system CA store, resolved
  // names), so that an idle library holds no memory for uploads, and made
  // again for the next one.
  CURLM* WaitForWork(const CurlFunctions& curl, EngineState& state) {
    std::unique_lock lock(state.mutex);
    if (!state.active.empty()) return state.multi;
    if (state.waiting.empty() && state.multi != nullptr) {
      CURLM* const idle = std::exchange(state.multi, nullptr);
      lock.unlock();
      {
        const LibrarySection tls;
        curl.multi_cleanup(idle);
      }
      // What the engine freed stays in the allocator's pools, as pages the
      // process still holds, until it is handed back.
      malloc_trim(0);
      lock.lock();
    }
    state.arrived.wait(lock, [&] { return !state.waiting.empty(); });
    if (state.multi == nullptr) state.multi = curl.multi_init();
    return state.multi;
  }

  void FailWaiting(EngineState& state, const std::string& why) {
    std::deque<std::unique_ptr<Transfer>> failed;
    {
      std::lock_guard lock(state.mutex);
      failed.swap(state.waiting);
    }
    for (const std::unique_ptr<Transfer>& transfer : failed) {
      Complete({std::move(transfer->completion), std::nullopt, UrlError{why}});
    }
  }

  // Fails the waiting transfers whose time-out has run out, as the platform
  // fails a task that found no connection in time: a service slower than the
  // uploads costs log lines, not a queue and memory that grow without end.
  // Returns how long to wait for the connections before the next one runs out.
  std::chrono::milliseconds ExpireWaiting(EngineState& state, std::vector<Outcome>& finished) {
    const Clock::time_point now = Clock::now();
    std::chrono::milliseconds poll = kLongestPoll;
    std::lock_guard lock(state.mutex);
    for (auto transfer = state.waiting.begin(); transfer != state.waiting.end();) {
      if (TimedOut(**transfer, now)) {
        finished.push_back(TimeOutWhileWaiting(**transfer));
        transfer = state.waiting.erase(transfer);
        continue;
      }
      if ((*transfer)->deadline) {
        poll = std::min(poll,
                        std::chrono::ceil<std::chrono::milliseconds>(*(*transfer)->deadline - now));
      }
      ++transfer;
    }
    return poll;
  }

  static bool TimedOut(const Transfer& transfer, Clock::time_point now) {
    return transfer.deadline && *transfer.deadline <= now;
  }

  static Outcome TimeOutWhileWaiting(Transfer& transfer) {
    const auto waited = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::duration<double>(transfer.configuration.timeout_interval_for_resource));
    return {std::move(transfer.completion), std::nullopt,
            UrlError{"Operation timed out after " + std::to_string(waited.count()) +
                     " milliseconds before it could be sent"}};
  }

  void Admit(const CurlFunctions& curl, EngineState& state, CURLM* multi,
             std::vector<Outcome>& finished) {
    while (state.active.size() < kMaxActiveTransfers) {
      std::unique_ptr<Transfer> transfer;
      {
        std::lock_guard lock(state.mutex);
        if (state.waiting.empty()) return;
        transfer = std::move(state.waiting.front());
        state.waiting.pop_front();
      }
      if (TimedOut(*transfer, Clock::now())) {
        finished.push_back(TimeOutWhileWaiting(*transfer));
        continue;
      }
      std::optional<std::string> failure = Configure(curl, *transfer);
      if (!failure && curl.multi_add_handle(multi, transfer->easy.get()) != CURLM_OK) {
        failure = "could not start the transfer";
      }
      if (failure) {
        finished.push_back({std::move(transfer->completion), std::nullopt, UrlError{*failure}});
        continue;
      }
      CURL* easy = transfer->easy.get();
      state.active.emplace(easy, std::move(transfer));
    }
  }

  // Releases the transfer's curl objects (and so its connection) and tells
  // how it ended.
  std::optional<Outcome> Finish(const CurlFunctions& curl, EngineState& state, CURLM* multi,
                                CURL* easy, CURLcode result) {
    curl.multi_remove_handle(multi, easy);
    const auto found = state.active.find(easy);
    if (found == state.active.end()) return std::nullopt;
    const std::unique_ptr<Transfer> transfer = std::move(found->second);
    state.active.erase(found);

    long status = 0;
    curl.easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
    Outcome outcome{std::move(transfer->completion), std::nullopt, std::nullopt};
    if (status > 0) outcome.response = UrlResponse{true, status};
    if (result != CURLE_OK) {
      outcome.error = UrlError{transfer->error_buffer[0] != '\0' ? transfer->error_buffer
                                                                 : curl.easy_strerror(result)};
    }
    return outcome;
  }

  // Runs the completion on the delegate queue, so that slow completion code
  // never stalls other transfers; on the calling thread when the delegate
  // queue has no thread and cannot get one, rather than lose it.
  void Complete(Outcome outcome) {
    std::function<void()> task = [outcome = std::move(outcome)]() mutable {
      outcome.completion(std::nullopt, std::move(outcome.response), std::move(outcome.error));
    };
    if (delegate_queue_.TrySubmit(task)) task();
  }

  PerProcess<EngineState> states_;
  ThreadPool delegate_queue_;
};

class CurlUrlSession final : public UrlSession {
 public:
  CurlUrlSession(UrlSessionConfiguration configuration,
                 std::shared_ptr<const CurlSessionSettings> settings)
      : configuration_(configuration), settings_(std::move(settings)) {}

  void StartDataTask(UrlRequest request, DataTaskCompletionHandler completion) override {
    auto transfer = std::make_unique<Transfer>();
    transfer->request = std::move(request);
    transfer->configuration = configuration_;
    transfer->settings = settings_;
    transfer->completion = std::move(completion);
    if (const double seconds = configuration_.timeout_interval_for_resource; seconds > 0) {
      transfer->deadline =
          Clock::now() + std::chrono::duration_cast<Clock::duration>(
                             std::chrono::duration<double>(std::min(seconds, 1e9)));
    }
    TransferEngine::Instance().Start(std::move(transfer));
  }

 private:
  const UrlSessionConfiguration configuration_;
  const std::shared_ptr<const CurlSessionSettings> settings_;
};

}  // namespace

CurlUrlSessionFactory::CurlUrlSessionFactory() : CurlUrlSessionFactory(Options{}) {}

CurlUrlSessionFactory::CurlUrlSessionFactory(Options options)
    : settings_(std::make_shared<const CurlSessionSettings>(
          CurlSessionSettings{std::move(options.connect_to), std::move(options.trusted_ca_pem)})) {}

CurlUrlSessionFactory::~CurlUrlSessionFactory() = default;

std::shared_ptr<UrlSession> CurlUrlSessionFactory::CreateSession(
    const UrlSessionConfiguration& configuration) {
  return std::make_shared<CurlUrlSession>(configuration, settings_);
}

CurlUrlSessionFactory::Options CurlUrlSessionFactory::LoopbackRoute(std::string_view authority,
                                                                    int port, std::string ca_pem) {
  // The host part ends at the last ':' unless that lies inside an IPv6
  // literal's brackets.
  const std::size_t colon = authority.rfind(':');
  const bool has_port =
      colon != std::string_view::npos && authority.find(']', colon) == std::string_view::npos;
  const std::string_view host = has_port ? authority.substr(0, colon) : authority;
  const std::string_view url_port = has_port ? authority.substr(colon + 1) : "443";
  Options options;
  options.connect_to.push_back(std::string(host) + ':' + std::string(url_port) +
                               ":127.0.0.1:" + std::to_string(port));
  options.trusted_ca_pem = std::move(ca_pem);
  return options;
}

}  // namespace rqb
