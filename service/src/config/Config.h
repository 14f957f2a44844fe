// The service's settings: command-line flags, and optionally a file of the
// same settings (`--config FILE`, lines "name = value", "#" comments). Flags
// given on the command line win over the file.
#pragma once

#include <string>
#include <variant>
#include <vector>

namespace rqbservice {

struct Config {
  std::string listen_host = "127.0.0.1";
  int listen_port = 8443;  // 0: any free port (see port_file)
  std::string database = "sqlite:rqbehavior-service.db";
  std::string tls_cert;
  std::string tls_key;
  bool plain_http = false;
  std::string token_file;
  std::string console_dir;  // static files of the web console
  std::string port_file;    // where to write the bound port once listening
  int threads = 64;         // requests served at once
  int read_timeout_seconds = 5;
  bool sqlite_sync_full = false;
};

struct ShowHelp {};
struct ConfigError {
  std::string message;
};

// Reads `arguments` (without the program name). `default_console_dir` is
// where the build put the console's files.
std::variant<Config, ShowHelp, ConfigError> ParseCommandLine(
    const std::vector<std::string>& arguments, const std::string& default_console_dir);

std::string HelpText();

}  // namespace rqbservice
