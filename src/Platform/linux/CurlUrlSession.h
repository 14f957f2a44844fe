// URL sessions on Linux: HTTPS through libcurl, certificate and host name
// always verified.
#pragma once

#include <memory>
#include <string>
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
    // PEM certificates trusted in addition to the system's CA bundle.
    std::string extra_ca_pem;
  };

  CurlUrlSessionFactory();
  explicit CurlUrlSessionFactory(Options options);
  ~CurlUrlSessionFactory() override;

  // Sessions made here run every transfer on one process-wide libcurl thread,
  // at most a few at a time, and run completions in order on one shared
  // delegate thread. A transfer's time-outs start when it leaves the queue.
  // Cookies are never stored and connections are not reused between tasks.
  std::shared_ptr<UrlSession> CreateSession(
      const UrlSessionConfiguration& configuration) override;

  // Routes https://`host` to 127.0.0.1:`port` and trusts `ca_pem` as well:
  // how tests and the demo reach a loopback receiver with verification on.
  static Options LoopbackRoute(const std::string& host, int port, std::string ca_pem);

 private:
  std::shared_ptr<const CurlSessionSettings> settings_;
};

}  // namespace rqb
