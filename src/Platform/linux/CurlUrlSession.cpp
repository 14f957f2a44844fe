#include "Platform/linux/CurlUrlSession.h"

#include <curl/curl.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cmath>
#include <deque>
#include <mutex>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "Platform/PerProcess.h"
#include "Platform/ThreadPool.h"
#include "Platform/linux/LinuxThreads.h"
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

// The descriptors of the connections that transfers have open. Touched by
// the transfer thread inside TlsSections only, so that a fork, which waits for
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

void InitCurlOnce() {
  static std::once_flag once;
  std::call_once(once, [] {
    InitTlsLibrary();  // before libcurl initialises OpenSSL
    curl_global_init(CURL_GLOBAL_DEFAULT);
    pthread_atfork(nullptr, nullptr, &CloseInheritedSockets);
  });
}

struct SlistDeleter {
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
using Slist = std::unique_ptr<curl_slist, SlistDeleter>;

struct EasyDeleter {
  void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};
using Easy = std::unique_ptr<CURL, EasyDeleter>;

Slist ToSlist(const std::vector<std::string>& lines) {
  Slist list;
  for (const std::string& line : lines) {
    curl_slist* grown = curl_slist_append(list.get(), line.c_str());
    if (grown == nullptr) return nullptr;
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

  Easy easy;
  Slist headers;
  Slist connect_to;
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
  std::deque<std::unique_ptr<Transfer>> waiting;  // guarded by mutex
  bool running = false;                           // the transfer thread is up; guarded by mutex
  CURLM* multi = nullptr;                         // set once under mutex, before running

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

// The service never reads an answer's body: it is dropped as it arrives, so
// that an endless or huge body costs no memory.
size_t DiscardReceived(char*, size_t size, size_t count, void*) { return size * count; }

// Whole seconds for libcurl; zero, negative or not-a-number means no limit.
long LimitSeconds(double seconds) {
  if (!(seconds > 0)) return 0;
  return seconds >= 1e9 ? 1'000'000'000L : static_cast<long>(std::ceil(seconds));
}

// Prepares `transfer`'s easy handle; returns a description of the failure.
std::optional<std::string> Configure(Transfer& transfer) {
  if (!transfer.request.url) return std::string("unsupported URL");
  transfer.easy.reset(curl_easy_init());
  CURL* easy = transfer.easy.get();
  if (easy == nullptr) return std::string("could not create a transfer");

  std::vector<std::string> header_lines;
  for (const auto& [field, value] : transfer.request.header_fields) {
    header_lines.push_back(field + ": " + value);
  }
  header_lines.emplace_back("Expect:");  // send the body at once, no 100-continue round trip
  transfer.headers = ToSlist(header_lines);
  if (!transfer.settings->connect_to.empty()) {
    transfer.connect_to = ToSlist(transfer.settings->connect_to);
  }

  curl_easy_setopt(easy, CURLOPT_PRIVATE, &transfer);
  curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, transfer.error_buffer);
  curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(easy, CURLOPT_OPENSOCKETFUNCTION, &OpenSocket);
  curl_easy_setopt(easy, CURLOPT_CLOSESOCKETFUNCTION, &CloseSocket);
  curl_easy_setopt(easy, CURLOPT_URL, transfer.request.url->c_str());
  curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "https");
  curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 1L);
  curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 2L);
  // Every task owns its connection, as every upload owns its session.
  curl_easy_setopt(easy, CURLOPT_FORBID_REUSE, 1L);
  if (transfer.request.http_method == "POST") {
    curl_easy_setopt(easy, CURLOPT_POST, 1L);
  } else if (transfer.request.http_method != "GET") {
    curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, transfer.request.http_method.c_str());
  }
  if (transfer.request.http_method != "GET" || !transfer.request.http_body.empty()) {
    curl_easy_setopt(easy, CURLOPT_POSTFIELDS, transfer.request.http_body.data());
    curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE,
                     static_cast<curl_off_t>(transfer.request.http_body.size()));
  }
  curl_easy_setopt(easy, CURLOPT_HTTPHEADER, transfer.headers.get());
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &DiscardReceived);

  // The request time-out is an idle time-out: no byte for that long ends the
  // transfer. The resource time-out bounds the whole transfer.
  const long idle = LimitSeconds(transfer.configuration.timeout_interval_for_request);
  if (idle > 0) {
    curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT, idle);
    curl_easy_setopt(easy, CURLOPT_LOW_SPEED_LIMIT, 1L);
    curl_easy_setopt(easy, CURLOPT_LOW_SPEED_TIME, idle);
  }
  curl_easy_setopt(easy, CURLOPT_TIMEOUT,
                   LimitSeconds(transfer.configuration.timeout_interval_for_resource));

  if (transfer.connect_to) {
    curl_easy_setopt(easy, CURLOPT_CONNECT_TO, transfer.connect_to.get());
    curl_easy_setopt(easy, CURLOPT_PROXY, "");
  }
  if (!transfer.settings->trusted_ca_pem.empty()) {
    // A small bundle: certificates in memory are parsed for every connection,
    // while libcurl keeps the system's bundle parsed between transfers.
    curl_blob blob{const_cast<char*>(transfer.settings->trusted_ca_pem.data()),
                   transfer.settings->trusted_ca_pem.size(), CURL_BLOB_NOCOPY};
    curl_easy_setopt(easy, CURLOPT_CAINFO_BLOB, &blob);
  }
  return std::nullopt;
}

// Drives every transfer of the process on one thread through one multi
// handle, and runs their completions on one delegate thread. Created on first
// use and never destroyed.
class TransferEngine {
 public:
  static TransferEngine& Instance() {
    static TransferEngine* const engine = new TransferEngine();
    return *engine;
  }

  // Starts the transfer thread unless it runs. A thread inherits its
  // creator's priority, so the factory starts it from the host's thread
  // rather than leave it to the first upload, which comes from a
  // low-priority collection thread. Failing here is not final: Start()
  // tries again.
  void Prestart() {
    EngineState& state = states_.Get();
    std::lock_guard lock(state.mutex);
    if (!state.running) static_cast<void>(StartThread(state));
  }

  // Queues `transfer`. When there is no transfer thread and none can be
  // started, the transfer fails at once with a transport error, so nothing
  // piles up while threads cannot be made.
  void Start(std::unique_ptr<Transfer> transfer) {
    EngineState& state = states_.Get();
    std::optional<std::string> failure;
    {
      std::lock_guard lock(state.mutex);
      if (!state.running) failure = StartThread(state);
      if (!failure) state.waiting.push_back(std::move(transfer));
    }
    if (failure) {
      Complete({std::move(transfer->completion), std::nullopt, UrlError{*failure}});
      return;
    }
    curl_multi_wakeup(state.multi);
  }

 private:
  TransferEngine()
      : delegate_queue_(1, [](std::function<void()> body) {
          return StartLibraryThread("rqb-delegate", ThreadPriority::kInherited, std::move(body));
        }) {}

  // Under state.mutex. Returns why the thread could not start.
  std::optional<std::string> StartThread(EngineState& state) {
    if (state.multi == nullptr) state.multi = curl_multi_init();
    if (state.multi == nullptr) return std::string("could not create the transfer engine");
    const std::error_code refused = StartLibraryThread("rqb-transfer", ThreadPriority::kInherited,
                                                       [this, &state] { Run(state); });
    if (refused) return "could not start the transfer thread: " + refused.message();
    state.running = true;
    return std::nullopt;
  }

  void Run(EngineState& state) {
    std::vector<Outcome> finished;
    for (;;) {
      {
        const TlsSection tls;
        Admit(state, finished);
        int running = 0;
        curl_multi_perform(state.multi, &running);
        int queued = 0;
        while (CURLMsg* message = curl_multi_info_read(state.multi, &queued)) {
          if (message->msg != CURLMSG_DONE) continue;
          if (std::optional<Outcome> outcome =
                  Finish(state, message->easy_handle, message->data.result)) {
            finished.push_back(std::move(*outcome));
          }
        }
      }
      for (Outcome& outcome : finished) Complete(std::move(outcome));
      finished.clear();
      curl_multi_poll(state.multi, nullptr, 0, 1000, nullptr);
    }
  }

  void Admit(EngineState& state, std::vector<Outcome>& finished) {
    while (state.active.size() < kMaxActiveTransfers) {
      std::unique_ptr<Transfer> transfer;
      {
        std::lock_guard lock(state.mutex);
        if (state.waiting.empty()) return;
        transfer = std::move(state.waiting.front());
        state.waiting.pop_front();
      }
      std::optional<std::string> failure = Configure(*transfer);
      if (!failure && curl_multi_add_handle(state.multi, transfer->easy.get()) != CURLM_OK) {
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
  std::optional<Outcome> Finish(EngineState& state, CURL* easy, CURLcode result) {
    curl_multi_remove_handle(state.multi, easy);
    const auto found = state.active.find(easy);
    if (found == state.active.end()) return std::nullopt;
    const std::unique_ptr<Transfer> transfer = std::move(found->second);
    state.active.erase(found);

    long status = 0;
    curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
    Outcome outcome{std::move(transfer->completion), std::nullopt, std::nullopt};
    if (status > 0) outcome.response = UrlResponse{true, status};
    if (result != CURLE_OK) {
      outcome.error = UrlError{transfer->error_buffer[0] != '\0' ? transfer->error_buffer
                                                                 : curl_easy_strerror(result)};
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
    TransferEngine::Instance().Start(std::move(transfer));
  }

 private:
  const UrlSessionConfiguration configuration_;
  const std::shared_ptr<const CurlSessionSettings> settings_;
};

}  // namespace

CurlUrlSessionFactory::CurlUrlSessionFactory() : CurlUrlSessionFactory(Options{}) {}

CurlUrlSessionFactory::CurlUrlSessionFactory(Options options) {
  InitCurlOnce();
  TransferEngine::Instance().Prestart();
  settings_ = std::make_shared<const CurlSessionSettings>(
      CurlSessionSettings{std::move(options.connect_to), std::move(options.trusted_ca_pem)});
}

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
