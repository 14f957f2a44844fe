// make bench, the service's part: ingestion figures for rqbehavior-service on
// SQLite beside a baseline measured in the same run, with the same clients:
// a cpp-httplib HTTPS server with the same settings that accepts each
// profile and discards it.
//
//  - throughput with a new TLS connection per profile (ab, as the library
//    uploads) and with keep-alive (wrk);
//  - p99 latency at half the target rates (1,000/s and 5,000/s), from a
//    client that sends on a fixed schedule and counts from the scheduled
//    time, so that a slow answer delays the figures of those behind it;
//  - the service's memory over 100,000 profiles.
//
// Usage: rqbehavior-service-bench SERVICE_BINARY
//        rqbehavior-service-bench --discard PORT_FILE CERT KEY   (the baseline)
#include <httplib.h>
#include <openssl/pem.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "TestCertificates.h"

namespace {

using namespace std::chrono;
using namespace std::chrono_literals;

constexpr char kContentType[] = "application/json; charset=UTF-8";
constexpr int kConnections = 8;

// A phone-like profile of 1.3 KB, as the library writes it.
std::string ProfileBody(const std::string& session) {
  return R"({
  "Variables" : {
    "Platform" : "iOS",
    "SDKVersion" : "3.0.2",
    "AdvertisingId" : "E621E1F8-C36C-495A-93FC-0C247A3E6E5F",
    "Location" : "{ \"lat\": -23.5505, \"lot\": -46.6333, \"alt\": 760.5, \"ts\": 2021-01-21T14:03:07-0300, \"hac\": 65, \"vac\": 10, \"c\": 181.5, \"s\": 0.75 }",
    "BatteryInfo" : "{ \"s\": \"c\", \"l\": 50.000000 }",
    "Battery" : "{ \"s\": \"c\", \"l\": 50.000000 }",
    "LanguageCode" : "en",
    "DeviceGeneratedId" : "0F6E5D4C-3B2A-4918-8765-43210FEDCBA9",
    "VisitorIdentifierForVendor" : "0F4C3E2A-7B1D-4E55-9A7E-3C2D1B0A9F88",
    "DeviceModel" : "iPhone12,1",
    "SystemVersion" : "14.3",
    "SystemName" : "iOS",
    "ConnectedVia3G" : "false",
    "Carrier" : "[\"Alpha\",\"Beta\"]",
    "ClosedCaptioningEnabled" : "false",
    "DeviceName" : "Office iPhone",
    "FreeDiskSpace" : "52234567680",
    "GuidedAccessEnabled" : "unknown",
    "InvertColorsEnabled" : "false",
    "InstalledKeyboards" : "[\"en_US@sw=QWERTY;hw=Automatic\",\"emoji@sw=Emoji\"]",
    "LocaleEqualsLanguage" : "true",
    "MonoAudioEnabled" : "false",
    "PaymentsAllowed" : "true",
    "SSID" : "",
    "VoiceOverRunning" : "false",
    "CarrierAllowsVoip" : "{ \"Alpha\": true, \"Beta\": false }",
    "ConnectedViaWifi" : "true"
  },
  "SessionID" : ")" +
         session + R"(",
  "App" : "shop-app-01"
})";
}

// --- The baseline -------------------------------------------------------------
// The service's HTTP settings, and a handler that answers 200 at once.
int RunDiscardServer(const std::string& port_file, const std::string& cert,
                     const std::string& key) {
  httplib::SSLServer server(cert.c_str(), key.c_str());
  server.set_tcp_nodelay(true);
  server.set_keep_alive_max_count(100000);
  server.set_keep_alive_timeout(5);
  server.set_read_timeout(5, 0);
  server.set_write_timeout(5, 0);
  server.set_payload_max_length(64 * 1024);
  server.new_task_queue = [] { return new httplib::ThreadPool(64); };
  int listening_socket = -1;  // given the system's backlog, as the service does
  server.set_socket_options([&listening_socket](int socket) {
    const int on = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    listening_socket = socket;
  });
  server.Post("/api/profiler/variables", [](const httplib::Request&, httplib::Response& response) {
    response.set_content(R"({"stored":true})", "application/json");
  });
  const int port = server.bind_to_any_port("127.0.0.1");
  listen(listening_socket, SOMAXCONN);
  std::ofstream(port_file) << port << "\n";
  signal(SIGTERM, [](int) { _exit(0); });
  server.listen_after_bind();
  return 0;
}

// --- Processes -------------------------------------------------------------------
struct Server {
  pid_t pid = -1;
  int port = 0;
};

Server Spawn(std::vector<std::string> arguments, const std::string& port_file,
             const std::string& log) {
  Server server;
  server.pid = fork();
  if (server.pid == 0) {
    std::freopen(log.c_str(), "w", stderr);
    std::vector<char*> argv;
    for (auto& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    execv(argv[0], argv.data());
    _exit(127);
  }
  for (int i = 0; i < 3000; ++i) {
    std::ifstream file(port_file);
    std::string text;
    if (std::getline(file, text) && !text.empty() && file.good()) {
      server.port = std::stoi(text);
      return server;
    }
    std::this_thread::sleep_for(10ms);
  }
  std::fprintf(stderr, "bench: %s did not start\n", arguments[0].c_str());
  std::exit(1);
}

void Stop(Server& server) {
  kill(server.pid, SIGTERM);
  waitpid(server.pid, nullptr, 0);
}

std::string Run(const std::string& command) {
  std::string output;
  FILE* pipe = popen((command + " 2>&1").c_str(), "r");
  if (pipe == nullptr) return output;
  char buffer[4096];
  while (std::fgets(buffer, sizeof buffer, pipe)) output += buffer;
  pclose(pipe);
  return output;
}

double Match(const std::string& text, const std::string& pattern) {
  std::smatch match;
  if (!std::regex_search(text, match, std::regex(pattern))) return 0;
  return std::stod(match[1]);
}

long ResidentKib(pid_t pid, const char* field) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(field)) return std::stol(line.substr(std::string(field).size()));
  }
  return 0;
}

// --- Clients -----------------------------------------------------------------------
// ab: a new TLS connection for every profile.
double NewConnectionRate(int port, const std::string& body_file, int requests) {
  const std::string output =
      Run("ab -q -n " + std::to_string(requests) + " -c " + std::to_string(kConnections) + " -p " +
          body_file + " -T '" + kContentType + "' https://127.0.0.1:" + std::to_string(port) +
          "/api/profiler/variables");
  // ab counts answers of another length than the first as failed: the ids
  // in the service's answers differ in length. Only statuses count here.
  if (Match(output, R"(Non-2xx responses:\s+(\d+))") > 0) {
    std::fprintf(stderr, "bench: ab saw failures:\n%s\n", output.c_str());
  }
  return Match(output, R"(Requests per second:\s+([\d.]+))");
}

// wrk: kept-alive connections.
double KeepAliveRate(int port, const std::string& script, int seconds) {
  const std::string output =
      Run("wrk -t2 -c" + std::to_string(kConnections) + " -d" + std::to_string(seconds) + "s -s " +
          script + " https://127.0.0.1:" + std::to_string(port) + "/api/profiler/variables");
  if (Match(output, R"(Non-2xx or 3xx responses:\s+(\d+))") > 0) {
    std::fprintf(stderr, "bench: wrk saw failures:\n%s\n", output.c_str());
  }
  return Match(output, R"(Requests/sec:\s+([\d.]+))");
}

struct Latencies {
  double p50_ms = 0, p99_ms = 0, max_ms = 0, achieved_rate = 0;
  int failures = 0;
};

// Sends `rate` profiles a second for `length` on a fixed schedule, from
// kConnections threads. Each latency counts from the time the profile was
// due, not from when it was sent.
Latencies AtFixedRate(int port, double rate, seconds length, bool keep_alive,
                      const std::string& session_prefix) {
  const int total = static_cast<int>(rate * static_cast<double>(length.count()));
  std::vector<double> latencies(static_cast<std::size_t>(total), 0);
  std::atomic<int> failures{0};
  const auto start = steady_clock::now() + 100ms;
  std::vector<std::thread> threads;
  for (int t = 0; t < kConnections; ++t) {
    threads.emplace_back([&, t] {
      std::unique_ptr<httplib::SSLClient> client;
      for (int k = t; k < total; k += kConnections) {
        const auto due = start + duration_cast<steady_clock::duration>(
                                     duration<double>(static_cast<double>(k) / rate));
        std::this_thread::sleep_until(due);
        if (!client || !keep_alive) {
          client = std::make_unique<httplib::SSLClient>("127.0.0.1", port);
          client->enable_server_certificate_verification(false);
          client->set_keep_alive(keep_alive);
          client->set_tcp_nodelay(true);  // headers and body go in two writes
        }
        const auto result =
            client->Post("/api/profiler/variables", ProfileBody(session_prefix + std::to_string(k)),
                         kContentType);
        if (!result || result->status != 200) {
          ++failures;
          client.reset();
        }
        latencies[static_cast<std::size_t>(k)] =
            duration<double, std::milli>(steady_clock::now() - due).count();
      }
    });
  }
  for (auto& thread : threads) thread.join();
  const double elapsed = duration<double>(steady_clock::now() - start).count();
  std::sort(latencies.begin(), latencies.end());
  Latencies result;
  result.p50_ms = latencies[latencies.size() / 2];
  result.p99_ms = latencies[latencies.size() * 99 / 100];
  result.max_ms = latencies.back();
  result.achieved_rate = total / elapsed;
  result.failures = failures;
  return result;
}

// As fast as kConnections kept-alive connections go, `count` profiles.
void Flood(int port, int count, const std::string& session_prefix) {
  std::atomic<int> next{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kConnections; ++t) {
    threads.emplace_back([&] {
      httplib::SSLClient client("127.0.0.1", port);
      client.enable_server_certificate_verification(false);
      client.set_keep_alive(true);
      client.set_tcp_nodelay(true);
      for (int k; (k = next++) < count;) {
        client.Post("/api/profiler/variables", ProfileBody(session_prefix + std::to_string(k)),
                    kContentType);
      }
    });
  }
  for (auto& thread : threads) thread.join();
}

void Row(const char* what, double service, double baseline, const char* unit,
         const std::string& target) {
  std::printf("%-44s %10.0f %10.0f %7.2f  %-6s %s\n", what, service, baseline,
              baseline > 0 ? service / baseline : 0, unit, target.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  setvbuf(stdout, nullptr, _IOLBF, 0);  // the table line by line, also into a pipe
  if (argc == 5 && std::string(argv[1]) == "--discard") {
    return RunDiscardServer(argv[2], argv[3], argv[4]);
  }
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s SERVICE_BINARY\n", argv[0]);
    return 2;
  }
  signal(SIGPIPE, SIG_IGN);
  char folder_template[] = "/tmp/rqbehavior-service-bench.XXXXXX";
  const std::string folder = mkdtemp(folder_template);
  auto path = [&](const char* name) { return folder + "/" + name; };

  // A P-256 certificate, as in the facts the figures are compared with.
  rqb::loopback::TestCertificateAuthority ca("RQBehavior Bench CA");
  const auto credentials = ca.IssueServerCredentials("localhost");
  FILE* cert = std::fopen(path("cert.pem").c_str(), "w");
  PEM_write_X509(cert, credentials.certificate.get());
  std::fclose(cert);
  FILE* key = std::fopen(path("key.pem").c_str(), "w");
  PEM_write_PrivateKey(key, credentials.key.get(), nullptr, nullptr, 0, nullptr, nullptr);
  std::fclose(key);
  std::ofstream(path("token")) << "bench-token-0123456789abcdef\n";
  const std::string body = ProfileBody("9B2C61D4-0E7A-4F3B-8C55-1A2D3E4F5A6B");
  std::ofstream(path("body.json")) << body;
  {
    std::string escaped;
    for (const char c : body) {
      if (c == '\\' || c == '"') escaped += '\\';
      escaped += c == '\n' ? std::string("\\n") : std::string(1, c);
    }
    std::ofstream(path("post.lua")) << "wrk.method = \"POST\"\n"
                                       "wrk.headers[\"Content-Type\"] = \""
                                    << kContentType << "\"\nwrk.body = \"" << escaped << "\"\n";
  }

  Server discard =
      Spawn({argv[0], "--discard", path("discard.port"), path("cert.pem"), path("key.pem")},
            path("discard.port"), path("discard.log"));
  Server service =
      Spawn({argv[1], "--listen", "127.0.0.1:0", "--port-file", path("service.port"), "--database",
             "sqlite:" + path("profiles.db"), "--tls-cert", path("cert.pem"), "--tls-key",
             path("key.pem"), "--token-file", path("token")},
            path("service.port"), path("service.log"));
  const long rss_start = ResidentKib(service.pid, "VmRSS:");

  std::printf(
      "rqbehavior-service on SQLite (WAL, synchronous=NORMAL, group commit) beside an\n"
      "accept-and-discard cpp-httplib HTTPS server with the same settings; %d client\n"
      "connections, P-256 certificate, %zu-byte profile.\n\n",
      kConnections, body.size());
  std::printf("%-44s %10s %10s %7s  %-6s %s\n", "", "service", "baseline", "ratio", "unit",
              "target");

  const double new_service = NewConnectionRate(service.port, path("body.json"), 3000);
  const double new_discard = NewConnectionRate(discard.port, path("body.json"), 3000);
  Row("new TLS connection per profile (ab)", new_service, new_discard, "/s", ">= 1,000/s");
  const double kept_service = KeepAliveRate(service.port, path("post.lua"), 8);
  const double kept_discard = KeepAliveRate(discard.port, path("post.lua"), 8);
  Row("keep-alive (wrk)", kept_service, kept_discard, "/s", ">= 5,000/s");

  const Latencies new_half = AtFixedRate(service.port, 500, 6s, false, "new-");
  const Latencies new_half_base = AtFixedRate(discard.port, 500, 6s, false, "new-");
  Row("p99 at 500/s, new connections", new_half.p99_ms, new_half_base.p99_ms, "ms", "< 50 ms");
  const Latencies kept_half = AtFixedRate(service.port, 2500, 6s, true, "kept-");
  const Latencies kept_half_base = AtFixedRate(discard.port, 2500, 6s, true, "kept-");
  Row("p99 at 2,500/s, keep-alive", kept_half.p99_ms, kept_half_base.p99_ms, "ms", "< 50 ms");
  std::printf("  (service p50/max: %.1f/%.1f ms and %.1f/%.1f ms; failures %d and %d)\n",
              new_half.p50_ms, new_half.max_ms, kept_half.p50_ms, kept_half.max_ms,
              new_half.failures, kept_half.failures);
  Stop(discard);

  // Memory: RSS after the first 10,000 profiles of 100,000 and after all.
  Flood(service.port, 10000, "memory-a-");
  const long rss_10k = ResidentKib(service.pid, "VmRSS:");
  const auto flood_start = steady_clock::now();
  Flood(service.port, 90000, "memory-b-");
  const double flood_seconds = duration<double>(steady_clock::now() - flood_start).count();
  const long rss_100k = ResidentKib(service.pid, "VmRSS:");
  const long hwm = ResidentKib(service.pid, "VmHWM:");
  std::printf(
      "\nmemory (RSS) of the service: %ld KiB at start, %ld KiB after 10,000 profiles, "
      "%ld KiB after 100,000 (%+.1f %%; peak %ld KiB); the last 90,000 at %.0f/s\n",
      rss_start, rss_10k, rss_100k,
      100.0 * static_cast<double>(rss_100k - rss_10k) / static_cast<double>(rss_10k), hwm,
      90000 / flood_seconds);
  httplib::SSLClient client("127.0.0.1", service.port);
  client.enable_server_certificate_verification(false);
  const auto metrics = client.Get("/metrics");
  std::printf("database: %.1f MB for %.0f receptions\n",
              static_cast<double>(std::filesystem::file_size(path("profiles.db"))) / 1e6,
              metrics ? Match(metrics->body, R"(rqbehavior_receptions_total (\d+))") : 0.0);
  Stop(service);
  std::filesystem::remove_all(folder);
  return 0;
}
