// The HTTP endpoints. Handlers parse and check the request, call storage and
// write JSON; they hold no SQL.
#pragma once

#include <string>

#include "metrics/Metrics.h"
#include "storage/GroupCommitWriter.h"
#include "storage/Storage.h"

namespace httplib {
class Server;
}

namespace rqbservice {

struct ApiContext {
  Storage& storage;
  GroupCommitWriter& writer;
  Metrics& metrics;
  std::string token;  // of the query API and console
};

// POST /api/profiler/variables.
void RegisterIngestion(httplib::Server& server, ApiContext& context);
// GET /api/profiler/... behind the bearer token.
void RegisterQueries(httplib::Server& server, ApiContext& context);
// /healthz, /metrics, the console's files under /console/, and JSON bodies
// for the errors the HTTP library answers itself (413, 404...).
void RegisterOperations(httplib::Server& server, ApiContext& context,
                        const std::string& console_dir);

}  // namespace rqbservice
