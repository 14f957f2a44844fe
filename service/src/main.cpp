// rqbehavior-service: see --help.
#include <signal.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <thread>

#include "config/Config.h"
#include "log/Log.h"
#include "server/Service.h"

namespace {

// The token is the first line of its file, without surrounding blanks.
std::string ReadToken(const std::string& path) {
  std::ifstream file(path);
  std::string token;
  if (!file || !std::getline(file, token)) return "";
  const std::size_t first = token.find_first_not_of(" \t\r");
  if (first == std::string::npos) return "";
  return token.substr(first, token.find_last_not_of(" \t\r") - first + 1);
}

// An installed service finds its console beside it, in the data folder of its
// prefix; one run from its build tree uses the source tree's.
std::string DefaultConsoleDir() {
  std::error_code error;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
  if (!error) {
    const auto installed =
        program.parent_path().parent_path() / RQBEHAVIOR_SERVICE_INSTALLED_CONSOLE_DIR;
    if (std::filesystem::is_regular_file(installed / "index.html", error)) return installed;
  }
  return RQBEHAVIOR_SERVICE_CONSOLE_DIR;
}

int Fail(const std::string& message) {
  std::fprintf(stderr, "rqbehavior-service: %s\n", message.c_str());
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  const auto parsed = rqbservice::ParseCommandLine(std::vector<std::string>(argv + 1, argv + argc),
                                                   DefaultConsoleDir());
  if (std::holds_alternative<rqbservice::ShowHelp>(parsed)) {
    std::cout << rqbservice::HelpText();
    return 0;
  }
  if (const auto* error = std::get_if<rqbservice::ConfigError>(&parsed)) {
    return Fail(error->message + " (see --help)");
  }
  const auto& config = std::get<rqbservice::Config>(parsed);
  const std::string token = ReadToken(config.token_file);
  if (token.size() < 16) {
    return Fail("the token in " + config.token_file + " must be at least 16 characters");
  }

  // SIGTERM and SIGINT are taken by one thread, which stops the server; every
  // other thread (made after this) has them blocked. A peer that closes its
  // connection must not kill the process.
  sigset_t stop_signals;
  sigemptyset(&stop_signals);
  sigaddset(&stop_signals, SIGTERM);
  sigaddset(&stop_signals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &stop_signals, nullptr);
  signal(SIGPIPE, SIG_IGN);

  try {
    rqbservice::Service service(config, token);
    if (!config.port_file.empty()) {
      std::ofstream(config.port_file) << service.port() << "\n";
    }
    rqbservice::LogEvent({{"event", "listening"},
                          {"address", config.listen_host},
                          {"port", service.port()},
                          {"tls", !config.plain_http}});
    std::atomic<bool> finished{false};
    std::thread stopper([&service, &finished, stop_signals] {
      int signal_number = 0;
      sigwait(&stop_signals, &signal_number);
      if (finished) return;
      rqbservice::LogEvent({{"event", "stopping"}, {"signal", signal_number}});
      // A signal that comes before the server runs would be lost by a single
      // Stop().
      while (!finished) {
        service.Stop();
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
      }
    });
    service.Run();
    finished = true;
    // Run() may also end without a signal (the listening socket failed):
    // wake the stopper so that it can be joined.
    pthread_kill(stopper.native_handle(), SIGTERM);
    stopper.join();
    rqbservice::LogEvent({{"event", "stopped"}});
  } catch (const std::exception& error) {
    return Fail(error.what());
  }
  return 0;
}
