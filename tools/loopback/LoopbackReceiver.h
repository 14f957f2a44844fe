// An HTTPS server on 127.0.0.1 standing in for the profiling service.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "TestCertificates.h"

namespace httplib {
class SSLServer;
}

namespace rqb::loopback {

struct ReceivedRequest {
  std::string method;
  std::string path;
  std::string version;
  // Header fields as the server parsed them (sorted by name, any case).
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;
  std::chrono::steady_clock::time_point arrived;

  // The value of header `name` (any case), or "" when absent.
  std::string Header(std::string_view name) const;
};

class LoopbackReceiver {
 public:
  // Serves HTTPS for `host` on an ephemeral port of 127.0.0.1, with a
  // certificate signed by `ca`, and answers every POST with status 200. With
  // `threads`, serves on that many threads, one connection at a time each;
  // else on the HTTP library's default pool.
  LoopbackReceiver(const TestCertificateAuthority& ca, const std::string& host,
                   std::size_t threads = 0);
  ~LoopbackReceiver();

  LoopbackReceiver(const LoopbackReceiver&) = delete;
  LoopbackReceiver& operator=(const LoopbackReceiver&) = delete;

  int port() const { return port_; }
  // The status of later answers.
  void SetStatus(int status);

  // How later POSTs are answered once recorded: at once (the default); only
  // when the receiver answers at once again, held until then; or with a body
  // that never ends, sent as fast as the client takes it.
  enum class Answering { kAtOnce, kHeld, kEndlessBody };
  void SetAnswering(Answering answering);
  // Bytes of endless bodies sent so far.
  std::uint64_t EndlessBytesSent() const;
  // How long each later POST takes before it is answered: a slow service.
  void SetAnswerDelay(std::chrono::milliseconds delay);

  std::vector<ReceivedRequest> Requests() const;
  std::size_t RequestCount() const;
  // Waits until `count` requests have arrived; false on time-out.
  bool WaitForRequests(std::size_t count, std::chrono::milliseconds timeout) const;

 private:
  std::unique_ptr<httplib::SSLServer> server_;
  int port_ = 0;
  std::thread listener_;
  mutable std::mutex mutex_;
  mutable std::condition_variable arrived_;
  std::condition_variable answering_changed_;
  std::vector<ReceivedRequest> requests_;      // guarded by mutex_
  int status_ = 200;                           // guarded by mutex_
  Answering answering_ = Answering::kAtOnce;   // guarded by mutex_
  std::chrono::milliseconds answer_delay_{0};  // guarded by mutex_
  std::atomic<std::uint64_t> endless_bytes_{0};
  const std::string endless_chunk_ = std::string(64 * 1024, 'x');
};

// The authority of an https:// URL as written in it: the host, followed by
// ":port" when the URL names a port, e.g. "localhost:8443". The Host header
// of a request to the URL carries it.
std::string AuthorityOfUrl(std::string_view url);

// The host part of an https:// URL, without a port: the name its server's
// certificate is issued for.
std::string HostOfUrl(std::string_view url);

}  // namespace rqb::loopback
