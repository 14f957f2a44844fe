#include "ServiceProcess.h"

#include <openssl/pem.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "TestCertificates.h"

namespace rqbservice::testing {
namespace {

void WriteFile(const std::string& path, const std::string& text) { std::ofstream(path) << text; }

std::string ReadFile(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

}  // namespace

TemporaryFolder::TemporaryFolder() {
  char folder[] = "/tmp/rqbehavior-service-test.XXXXXX";
  if (mkdtemp(folder) == nullptr) throw std::runtime_error("mkdtemp failed");
  path_ = folder;
}

TemporaryFolder::~TemporaryFolder() { std::filesystem::remove_all(path_); }

TestTls::TestTls(const TemporaryFolder& folder, const std::string& host)
    : ca_file(folder / "ca.pem"), cert_file(folder / "cert.pem"), key_file(folder / "key.pem") {
  rqb::loopback::TestCertificateAuthority ca("RQBehavior Service Test CA");
  WriteFile(ca_file, ca.CertificatePem());
  const auto credentials = ca.IssueServerCredentials(host);
  FILE* cert = std::fopen(cert_file.c_str(), "w");
  PEM_write_X509(cert, credentials.certificate.get());
  std::fclose(cert);
  FILE* key = std::fopen(key_file.c_str(), "w");
  PEM_write_PrivateKey(key, credentials.key.get(), nullptr, nullptr, 0, nullptr, nullptr);
  std::fclose(key);
}

ServiceProcess::ServiceProcess(std::string database, std::vector<std::string> extra,
                               std::string host)
    : host_(std::move(host)),
      tls_(std::make_unique<TestTls>(folder_, host_)),
      database_(database.empty() ? "sqlite:" + (folder_ / "profiles.db") : std::move(database)),
      extra_(std::move(extra)) {
  // Writes to a connection the service closed (it stopped, or refused a
  // body) must fail, not kill the test.
  signal(SIGPIPE, SIG_IGN);
  WriteFile(folder_ / "token", std::string(kToken) + "\n");
  Start();
}

ServiceProcess::~ServiceProcess() {
  if (pid_ > 0) Kill();
}

void ServiceProcess::Start() {
  const std::string port_file = folder_ / ("port." + std::to_string(++starts_));
  // A build of the service under a sanitizer may stand in for this build's.
  const char* binary = std::getenv("RQBEHAVIOR_TEST_SERVICE_BINARY");
  // clang-format off
  std::vector<std::string> arguments = {
      binary ? binary : RQBEHAVIOR_SERVICE_BINARY, "--listen", "127.0.0.1:0", "--port-file", port_file,
      "--database", database_, "--tls-cert", tls_->cert_file, "--tls-key", tls_->key_file,
      "--token-file", folder_ / "token"};
  // clang-format on
  arguments.insert(arguments.end(), extra_.begin(), extra_.end());
  const std::string log = folder_ / "service.log";
  pid_ = fork();
  if (pid_ == 0) {
    std::freopen(log.c_str(), "a", stderr);
    std::vector<char*> argv;
    for (auto& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    execv(argv[0], argv.data());
    _exit(127);
  }
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (std::chrono::steady_clock::now() < deadline) {
    const std::string port = ReadFile(port_file);
    if (!port.empty() && port.back() == '\n') {
      port_ = std::stoi(port);
      return;
    }
    int status = 0;
    if (waitpid(pid_, &status, WNOHANG) == pid_) {
      pid_ = -1;
      throw std::runtime_error("the service did not start:\n" + Log());
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  throw std::runtime_error("the service did not listen within 30 s:\n" + Log());
}

std::string ServiceProcess::Log() const { return ReadFile(folder_ / "service.log"); }

std::unique_ptr<httplib::SSLClient> ServiceProcess::Client() const {
  auto client = std::make_unique<httplib::SSLClient>(host_, port_);
  client->set_hostname_addr_map({{host_, "127.0.0.1"}});
  client->set_ca_cert_path(tls_->ca_file.c_str());
  client->enable_server_certificate_verification(true);
  client->set_connection_timeout(5);
  client->set_read_timeout(20);
  return client;
}

int ServiceProcess::Terminate() {
  kill(pid_, SIGTERM);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (std::chrono::steady_clock::now() < deadline) {
    int status = 0;
    if (waitpid(pid_, &status, WNOHANG) == pid_) {
      pid_ = -1;
      return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return -1;
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
