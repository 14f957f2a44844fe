#include "ServiceProcess.h"

#include <openssl/pem.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "TestCertificates.h"

namespace rqbservice::testing {
namespace {

std::string ReadFile(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

// False if `done` did not become true within 30 s.
bool WaitUpTo30Seconds(const std::function<bool()>& done) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!done()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return true;
}

}  // namespace

ServiceProcess::ServiceProcess(std::string database, std::vector<std::string> extra,
                               std::string host)
    : host_(std::move(host)),
      database_(database.empty() ? "sqlite:" + (folder() / "profiles.db").string()
                                 : std::move(database)),
      extra_(std::move(extra)) {
  // Writes to a connection the service closed (it stopped, or refused a
  // body) must fail, not kill the test.
  signal(SIGPIPE, SIG_IGN);
  std::ofstream(folder() / "token") << kToken << "\n";
  rqb::loopback::TestCertificateAuthority ca("RQBehavior Service Test CA");
  std::ofstream(ca_file()) << ca.CertificatePem();
  const auto credentials = ca.IssueServerCredentials(host_);
  FILE* cert = std::fopen((folder() / "cert.pem").c_str(), "w");
  PEM_write_X509(cert, credentials.certificate.get());
  std::fclose(cert);
  FILE* key = std::fopen((folder() / "key.pem").c_str(), "w");
  PEM_write_PrivateKey(key, credentials.key.get(), nullptr, nullptr, 0, nullptr, nullptr);
  std::fclose(key);
  Start();
}

ServiceProcess::~ServiceProcess() {
  if (pid_ > 0) Kill();
}

void ServiceProcess::Start() {
  const std::string port_file = folder() / ("port." + std::to_string(++starts_));
  // A build of the service under a sanitizer may stand in for this build's.
  const char* binary = std::getenv("RQBEHAVIOR_TEST_SERVICE_BINARY");
  // clang-format off
  std::vector<std::string> arguments = {
      binary ? binary : RQBEHAVIOR_SERVICE_BINARY, "--listen", "127.0.0.1:0", "--port-file", port_file,
      "--database", database_, "--tls-cert", folder() / "cert.pem", "--tls-key", folder() / "key.pem",
      "--token-file", folder() / "token"};
  // clang-format on
  arguments.insert(arguments.end(), extra_.begin(), extra_.end());
  const std::string log = folder() / "service.log";
  pid_ = fork();
  if (pid_ == 0) {
    std::freopen(log.c_str(), "a", stderr);
    std::vector<char*> argv;
    for (auto& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    execv(argv[0], argv.data());
    _exit(127);
  }
  port_ = 0;
  bool exited = false;
  WaitUpTo30Seconds([&] {
    const std::string port = ReadFile(port_file);
    if (!port.empty() && port.back() == '\n') port_ = std::stoi(port);
    exited = port_ == 0 && waitpid(pid_, nullptr, WNOHANG) == pid_;
    return port_ != 0 || exited;
  });
  if (exited) pid_ = -1;
  if (port_ == 0) throw std::runtime_error("the service did not start listening:\n" + Log());
}

std::string ServiceProcess::Log() const { return ReadFile(folder() / "service.log"); }

std::unique_ptr<httplib::SSLClient> ServiceProcess::Client() const {
  auto client = std::make_unique<httplib::SSLClient>(host_, port_);
  client->set_hostname_addr_map({{host_, "127.0.0.1"}});
  client->set_ca_cert_path(ca_file());
  client->enable_server_certificate_verification(true);
  client->set_connection_timeout(5);
  client->set_read_timeout(20);
  return client;
}

int ServiceProcess::Terminate() {
  kill(pid_, SIGTERM);
  int status = 0;
  if (!WaitUpTo30Seconds([&] { return waitpid(pid_, &status, WNOHANG) == pid_; })) return -1;
  pid_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void ServiceProcess::Kill() {
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
  pid_ = -1;
}

void ServiceProcess::Restart() {
  if (pid_ > 0) Kill();
  Start();
}

}  // namespace rqbservice::testing
