// The real rqbehavior-service binary, run by a test in a folder of its own
// with a certificate from a throw-away CA, a token and a free port.
#pragma once

#include <httplib.h>
#include <sys/types.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "TemporaryFolder.h"

namespace rqbservice::testing {

inline constexpr char kToken[] = "test-token-0123456789abcdef";

inline httplib::Headers Bearer(const std::string& token = kToken) {
  return {{"Authorization", "Bearer " + token}};
}

class ServiceProcess {
 public:
  // Starts the service on `database` with `extra` flags and a certificate
  // for `host`, and waits until it listens. Without a database, SQLite in
  // the folder.
  explicit ServiceProcess(std::string database = "", std::vector<std::string> extra = {},
                          std::string host = "localhost");
  ~ServiceProcess();  // SIGKILL if still running
  ServiceProcess(const ServiceProcess&) = delete;
  ServiceProcess& operator=(const ServiceProcess&) = delete;

  int port() const { return port_; }
  const std::string& database() const { return database_; }
  const std::string& host() const { return host_; }
  // The service's folder, which a test may use for files of its own.
  const std::filesystem::path& folder() const { return folder_.path; }
  std::string ca_file() const { return folder() / "ca.pem"; }
  // Everything the service logged so far.
  std::string Log() const;

  // A client that verifies the service's certificate for host() against the
  // test CA, connecting to 127.0.0.1.
  std::unique_ptr<httplib::SSLClient> Client() const;

  // SIGTERM, and the exit status once it has stopped (-1 if it did not
  // within the timeout).
  int Terminate();
  void Kill();  // SIGKILL, and reaped
  // Starts it again on the same database, certificate and token.
  void Restart();

 private:
  void Start();

  TemporaryFolder folder_;
  std::string host_;
  std::string database_;
  std::vector<std::string> extra_;
  pid_t pid_ = -1;
  int port_ = 0;
  int starts_ = 0;
};

}  // namespace rqbservice::testing
