#include "server/Service.h"

#include <httplib.h>
#include <sys/socket.h>

#include <stdexcept>

#include "api/Api.h"
#include "log/Log.h"
#include "metrics/Metrics.h"
#include "profile/Envelope.h"

namespace rqbservice {

struct Service::Parts {
  Parts(const Config& config, std::string token)
      : storage(DatabaseUrl::Parse(config.database),
                config.sqlite_sync_full ? SqliteSync::kFull : SqliteSync::kNormal),
        writer(storage),
        context{storage, writer, metrics, std::move(token)} {}

  Storage storage;
  GroupCommitWriter writer;
  Metrics metrics;
  ApiContext context;
  std::unique_ptr<httplib::Server> server;
  int port = 0;
};

namespace {

std::unique_ptr<httplib::Server> MakeServer(const Config& config) {
  if (config.plain_http) return std::make_unique<httplib::Server>();
  auto server =
      std::make_unique<httplib::SSLServer>(config.tls_cert.c_str(), config.tls_key.c_str());
  if (!server->is_valid()) {
    throw std::runtime_error("cannot use the TLS certificate " + config.tls_cert + " and key " +
                             config.tls_key);
  }
  return server;
}

}  // namespace

Service::Service(const Config& config, std::string token)
    : parts_(std::make_unique<Parts>(config, std::move(token))) {
  auto server = MakeServer(config);
  // The library's defaults cost throughput: Nagle's algorithm delays each
  // answer for the client's delayed ACK, and a connection closed after five
  // requests pays a new TLS handshake.
  server->set_tcp_nodelay(true);
  server->set_keep_alive_max_count(100000);
  // A client that stalls (headers sent byte by byte, a body that never
  // ends) or idles between requests loses its connection instead of holding
  // a thread.
  server->set_keep_alive_timeout(config.read_timeout_seconds);
  server->set_read_timeout(config.read_timeout_seconds, 0);
  server->set_write_timeout(config.read_timeout_seconds, 0);
  server->set_payload_max_length(kMaxBodyBytes);
  const std::size_t threads = static_cast<std::size_t>(config.threads);
  server->new_task_queue = [threads] { return new httplib::ThreadPool(threads); };

  // The library listens with a backlog of 5: clients that open a new TLS
  // connection per profile overflow it, and a dropped SYN costs them a
  // second. The listening socket is caught when made and given the
  // system's backlog once bound.
  int listening_socket = -1;
  server->set_socket_options([&listening_socket](int socket) {
    const int on = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    listening_socket = socket;
  });

  RegisterIngestion(*server, parts_->context);
  RegisterQueries(*server, parts_->context);
  RegisterOperations(*server, parts_->context, config.console_dir);

  if (config.listen_port == 0) {
    parts_->port = server->bind_to_any_port(config.listen_host);
  } else {
    parts_->port =
        server->bind_to_port(config.listen_host, config.listen_port) ? config.listen_port : -1;
  }
  if (parts_->port <= 0) {
    throw std::runtime_error("cannot listen on " + config.listen_host + ":" +
                             std::to_string(config.listen_port));
  }
  if (listening_socket >= 0) listen(listening_socket, SOMAXCONN);
  parts_->server = std::move(server);
}

Service::~Service() = default;

int Service::port() const { return parts_->port; }

void Service::Run() {
  parts_->server->listen_after_bind();
  // The server has answered its last request; commit what is queued.
  parts_->writer.Stop();
}

void Service::Stop() { parts_->server->stop(); }

}  // namespace rqbservice
