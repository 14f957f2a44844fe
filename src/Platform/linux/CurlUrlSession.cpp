#include "Platform/linux/CurlUrlSession.h"

#include <curl/curl.h>

#include <cmath>
#include <deque>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <utility>

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

void InitCurlOnce() {
  static std::once_flag once;
  std::call_once(once, [] {
    InitTlsLibrary();  // before libcurl initialises OpenSSL
    curl_global_init(CURL_GLOBAL_DEFAULT);
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

// The process-wide thread that drives every transfer through one multi
// handle. Created on the first upload and never destroyed.
class TransferEngine {
 public:
  static TransferEngine& Instance() {
    static TransferEngine* const engine = new TransferEngine();
    return *engine;
  }

  void Start(std::unique_ptr<Transfer> transfer) {
    {
      std::lock_guard lock(mutex_);
      waiting_.push_back(std::move(transfer));
    }
    curl_multi_wakeup(multi_);
  }

 private:
  TransferEngine()
      : multi_(curl_multi_init()),
        delegate_queue_(1, [] { BecomeNetworkThread("rqb-url-delegate"); }) {
    std::thread([this] { Run(); }).detach();
  }

  void Run() {
    BecomeNetworkThread("rqb-url-transfer");
    for (;;) {
      {
        const TlsSection tls;
        Admit();
        int running = 0;
        curl_multi_perform(multi_, &running);
        int queued = 0;
        while (CURLMsg* message = curl_multi_info_read(multi_, &queued)) {
          if (message->msg == CURLMSG_DONE) Finish(message->easy_handle, message->data.result);
        }
      }
      curl_multi_poll(multi_, nullptr, 0, 1000, nullptr);
    }
  }

  void Admit() {
    while (active_.size() < kMaxActiveTransfers) {
      std::unique_ptr<Transfer> transfer;
      {
        std::lock_guard lock(mutex_);
        if (waiting_.empty()) return;
        transfer = std::move(waiting_.front());
        waiting_.pop_front();
      }
      if (std::optional<std::string> failure = Configure(*transfer)) {
        Complete(std::move(transfer), std::nullopt, UrlError{*failure});
        continue;
      }
      CURL* easy = transfer->easy.get();
      if (curl_multi_add_handle(multi_, easy) != CURLM_OK) {
        Complete(std::move(transfer), std::nullopt, UrlError{"could not start the transfer"});
        continue;
      }
      active_.emplace(easy, std::move(transfer));
    }
  }

  void Finish(CURL* easy, CURLcode result) {
    curl_multi_remove_handle(multi_, easy);
    auto found = active_.find(easy);
    if (found == active_.end()) return;
    std::unique_ptr<Transfer> transfer = std::move(found->second);
    active_.erase(found);

    long status = 0;
    curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
    std::optional<UrlResponse> response;
    if (status > 0) response = UrlResponse{true, status};
    std::optional<UrlError> error;
    if (result != CURLE_OK) {
      error = UrlError{transfer->error_buffer[0] != '\0' ? transfer->error_buffer
                                                         : curl_easy_strerror(result)};
    }
    Complete(std::move(transfer), std::move(response), std::move(error));
  }

  // Releases the curl objects here and runs the completion on the delegate
  // queue, so that slow completion code never stalls other transfers.
  void Complete(std::unique_ptr<Transfer> transfer, std::optional<UrlResponse> response,
                std::optional<UrlError> error) {
    DataTaskCompletionHandler completion = std::move(transfer->completion);
    transfer.reset();
    delegate_queue_.Submit([completion = std::move(completion), response = std::move(response),
                            error = std::move(error)]() mutable {
      completion(std::nullopt, std::move(response), std::move(error));
    });
  }

  CURLM* const multi_;
  ThreadPool delegate_queue_;
  std::mutex mutex_;
  std::deque<std::unique_ptr<Transfer>> waiting_;  // guarded by mutex_
  std::unordered_map<CURL*, std::unique_ptr<Transfer>> active_;  // engine thread only
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
  // Started here rather than on the first upload, which runs on a background
  // thread whose low priority the transfer thread would inherit.
  TransferEngine::Instance();
  settings_ = std::make_shared<const CurlSessionSettings>(
      CurlSessionSettings{std::move(options.connect_to), std::move(options.trusted_ca_pem)});
}

CurlUrlSessionFactory::~CurlUrlSessionFactory() = default;

std::shared_ptr<UrlSession> CurlUrlSessionFactory::CreateSession(
    const UrlSessionConfiguration& configuration) {
  return std::make_shared<CurlUrlSession>(configuration, settings_);
}

CurlUrlSessionFactory::Options CurlUrlSessionFactory::LoopbackRoute(const std::string& host,
                                                                    int port, std::string ca_pem) {
  Options options;
  options.connect_to.push_back(host + ":443:127.0.0.1:" + std::to_string(port));
  options.trusted_ca_pem = std::move(ca_pem);
  return options;
}

}  // namespace rqb
