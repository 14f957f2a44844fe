#include <httplib.h>

#include "api/Api.h"
#include "api/JsonResponses.h"
#include "log/Log.h"

namespace rqbservice {

void RegisterOperations(httplib::Server& server, ApiContext& context,
                        const std::string& console_dir) {
  server.Get("/healthz", [&context](const httplib::Request&, httplib::Response& response) {
    if (context.storage.Ping()) {
      SendJson(response, 200, {{"status", "ok"}});
    } else {
      SendError(response, 503, "the database does not answer");
    }
  });
  server.Get("/metrics", [&context](const httplib::Request&, httplib::Response& response) {
    response.set_content(context.metrics.Render(), "text/plain; version=0.0.4");
  });

  // The console's files hold no data: every figure it shows comes from the
  // query API, with the token the analyst enters.
  server.set_mount_point("/console/", console_dir);
  for (const char* path : {"/", "/console"}) {
    server.Get(path, [](const httplib::Request&, httplib::Response& response) {
      response.set_redirect("/console/");
    });
  }
  server.set_post_routing_handler([](const httplib::Request&, httplib::Response& response) {
    response.set_header("X-Content-Type-Options", "nosniff");
    response.set_header("Content-Security-Policy",
                        "default-src 'self'; img-src 'self' data:; frame-ancestors 'none'");
    response.set_header("Referrer-Policy", "no-referrer");
  });

  // Answers the HTTP library gives by itself (unknown path, body too large,
  // bad request line) get a JSON body too.
  server.set_error_handler(
      [&context](const httplib::Request& request, httplib::Response& response) {
        if (response.status == 413) {
          context.metrics.CountRejection(Rejection::kTooLarge);
          LogEvent({{"event", "rejection"},
                    {"reason", RejectionName(Rejection::kTooLarge)},
                    {"status", 413},
                    {"peer", request.remote_addr}});
          return SendError(response, 413, RejectionMessage(Rejection::kTooLarge),
                           RejectionName(Rejection::kTooLarge));
        }
        if (response.body.empty()) {
          SendError(response, response.status,
                    response.status == 404 ? "not found" : "the request was refused");
        }
      });
}

}  // namespace rqbservice
