#include "config/Config.h"

#include <charconv>
#include <fstream>
#include <functional>
#include <map>
#include <optional>

namespace rqbservice {
namespace {

using Setter = std::function<std::optional<std::string>(Config&, const std::string&)>;

std::optional<std::string> SetInt(int& field, const std::string& value, int low, int high) {
  int number = 0;
  const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
  if (error != std::errc() || end != value.data() + value.size() || number < low || number > high) {
    return "must be a whole number from " + std::to_string(low) + " to " + std::to_string(high);
  }
  field = number;
  return std::nullopt;
}

std::optional<std::string> SetListen(Config& config, const std::string& value) {
  const std::size_t colon = value.rfind(':');
  if (colon == std::string::npos || colon == 0) return "must be ADDRESS:PORT";
  std::string host = value.substr(0, colon);
  if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
    host = host.substr(1, host.size() - 2);  // [::1]:8443
  }
  config.listen_host = host;
  return SetInt(config.listen_port, value.substr(colon + 1), 0, 65535);
}

// Settings that take a value, by name (the flag without its "--").
const std::map<std::string, Setter>& ValueSettings() {
  static const auto* settings = new std::map<std::string, Setter>{
      {"listen", SetListen},
      {"database", [](Config& c, const std::string& v) { return c.database = v, std::nullopt; }},
      {"tls-cert", [](Config& c, const std::string& v) { return c.tls_cert = v, std::nullopt; }},
      {"tls-key", [](Config& c, const std::string& v) { return c.tls_key = v, std::nullopt; }},
      {"token-file",
       [](Config& c, const std::string& v) { return c.token_file = v, std::nullopt; }},
      {"console-dir",
       [](Config& c, const std::string& v) { return c.console_dir = v, std::nullopt; }},
      {"port-file", [](Config& c, const std::string& v) { return c.port_file = v, std::nullopt; }},
      {"threads", [](Config& c, const std::string& v) { return SetInt(c.threads, v, 2, 4096); }},
      {"read-timeout",
       [](Config& c, const std::string& v) { return SetInt(c.read_timeout_seconds, v, 1, 300); }},
      {"sqlite-sync",
       [](Config& c, const std::string& v) -> std::optional<std::string> {
         if (v != "normal" && v != "full") return "must be normal or full";
         c.sqlite_sync_full = v == "full";
         return std::nullopt;
       }},
  };
  return *settings;
}

std::optional<std::string> Apply(Config& config, const std::string& name,
                                 const std::string& value) {
  if (name == "plain-http") {
    if (value != "true" && value != "false") return "plain-http: must be true or false";
    config.plain_http = value == "true";
    return std::nullopt;
  }
  const auto setting = ValueSettings().find(name);
  if (setting == ValueSettings().end()) return "unknown setting --" + name;
  if (auto why = setting->second(config, value)) return "--" + name + ": " + *why;
  return std::nullopt;
}

std::string Trim(const std::string& text) {
  const std::size_t first = text.find_first_not_of(" \t\r");
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

std::optional<std::string> ApplyFile(Config& config, const std::string& path) {
  std::ifstream file(path);
  if (!file) return "cannot read the configuration file " + path;
  std::string line;
  for (int number = 1; std::getline(file, line); ++number) {
    line = Trim(line);
    if (line.empty() || line.front() == '#') continue;
    const std::size_t equals = line.find('=');
    if (equals == std::string::npos) {
      return path + ":" + std::to_string(number) + ": expected \"name = value\"";
    }
    if (auto why = Apply(config, Trim(line.substr(0, equals)), Trim(line.substr(equals + 1)))) {
      return path + ":" + std::to_string(number) + ": " + *why;
    }
  }
  return std::nullopt;
}

}  // namespace

std::variant<Config, ShowHelp, ConfigError> ParseCommandLine(
    const std::vector<std::string>& arguments, const std::string& default_console_dir) {
  // Flags as name/value pairs, "--name value" or "--name=value".
  std::vector<std::pair<std::string, std::string>> flags;
  std::optional<std::string> config_file;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    if (argument == "--help" || argument == "-h") return ShowHelp{};
    if (!argument.starts_with("--")) return ConfigError{"unexpected argument " + argument};
    std::string name = argument.substr(2), value;
    if (const std::size_t equals = name.find('='); equals != std::string::npos) {
      value = name.substr(equals + 1);
      name.resize(equals);
    } else if (name == "plain-http") {
      value = "true";
    } else if (i + 1 < arguments.size()) {
      value = arguments[++i];
    } else {
      return ConfigError{argument + " needs a value"};
    }
    if (name == "config") {
      config_file = value;
    } else {
      flags.emplace_back(name, value);
    }
  }

  Config config;
  config.console_dir = default_console_dir;
  if (config_file) {
    if (auto why = ApplyFile(config, *config_file)) return ConfigError{*why};
  }
  for (const auto& [name, value] : flags) {
    if (auto why = Apply(config, name, value)) return ConfigError{*why};
  }
  if (config.plain_http && (!config.tls_cert.empty() || !config.tls_key.empty())) {
    return ConfigError{"--plain-http and --tls-cert/--tls-key exclude each other"};
  }
  if (!config.plain_http && (config.tls_cert.empty() || config.tls_key.empty())) {
    return ConfigError{"HTTPS needs --tls-cert and --tls-key (or --plain-http behind a proxy)"};
  }
  if (config.token_file.empty()) {
    return ConfigError{"--token-file is required: the query API and console need a token"};
  }
  return config;
}

std::string HelpText() {
  return R"(Usage: rqbehavior-service [OPTION...]
Receives device profiles at POST /api/profiler/variables, stores them, and
serves the query API (/api/profiler/...) and the web console (/console/).

  --listen ADDRESS:PORT   where to listen (default 127.0.0.1:8443; port 0
                          picks a free port, see --port-file)
  --database URL          sqlite:PATH (default sqlite:rqbehavior-service.db)
                          or a postgresql:// connection URL
  --tls-cert FILE         the server's certificate chain (PEM)
  --tls-key FILE          its private key (PEM)
  --plain-http            serve plain HTTP instead, behind a proxy that
                          terminates TLS
  --token-file FILE       the bearer token of the query API and console,
                          on its first line (required)
  --config FILE           read settings from FILE: "name = value" lines with
                          the names above (listen = 0.0.0.0:8443); flags win
  --threads N             requests served at once (default 64)
  --read-timeout SECONDS  a client that sends nothing for this long, in a
                          request or between two, is dropped (default 5)
  --sqlite-sync normal|full
                          normal: a stored profile survives the service
                          being killed; full: also a power cut (default
                          normal)
  --console-dir DIR       the console's static files
  --port-file FILE        write the bound port to FILE once listening
  --help                  show this help

Stops on SIGTERM or SIGINT after answering the requests in flight.
)";
}

}  // namespace rqbservice
