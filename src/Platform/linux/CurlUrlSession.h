// URL sessions on Linux: HTTPS through libcurl, certificate and host name
// always verified.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/UrlSession.h"

namespace rqb {

struct CurlSessionSettings;

class CurlUrlSessionFactory final : public UrlSessionFactory {
 public:
  struct Options {
    // libcurl CONNECT_TO entries ("HOST:PORT:CONNECT-TO-HOST:CONNECT-TO-PORT"):
    // the connection goes elsewhere while TLS still verifies the URL's host.
    // When set, proxies from the environment are not used.
    std::vector<std::string> connect_to;
    // PEM certificates that server certificates are verified against instead
    // of the system's CA bundle; empty for the system's.
    std::string trusted_ca_pem;
  };

  // Cheap: libcurl, OpenSSL and the transfer thread wait for the first
  // upload, which loads and starts them on the uploading thread.
  CurlUrlSessionFactory();
  explicit CurlUrlSessionFactory(Options options);
  ~CurlUrlSessionFactory() override;

  // Sessions made here run every transfer on one process-wide libcurl thread,
  // at most a few at a time, and run completions in order on one shared
  // delegate thread. The resource time-out counts from the task's start, the
  // wait for a free slot included: a task still waiting when it runs out fails
  // with a transport error. The request (idle) time-out counts from when the
  // task leaves the queue.
  // Cookies are never stored and connections are not reused between tasks.
  // Response bodies are discarded as they arrive, so completions get no data.
  //
  // When libcurl cannot be loaded, a task fails at once with a transport
  // error that says why. When the system refuses threads, a task that finds
  // no transfer thread fails at once with a transport error, and a completion that finds no
  // delegate thread runs on the thread that finished its transfer. In a
  // forked child, tasks start afresh: the parent's are not sent again.
  std::shared_ptr<UrlSession> CreateSession(const UrlSessionConfiguration& configuration) override;

  // Routes https://`authority` (a URL's "host" or "host:port"; port 443 when
  // none is given) to 127.0.0.1:`port` and verifies the host's certificate
  // against `ca_pem`: how tests, the demo and the benchmark reach a loopback
  // receiver with verification on.
  static Options LoopbackRoute(std::string_view authority, int port, std::string ca_pem);

 private:
  std::shared_ptr<const CurlSessionSettings> settings_;
};

}  // namespace rqb
