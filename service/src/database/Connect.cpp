#include "database/Connection.h"
#include "database/EngineConnections.h"

namespace rqbservice {

std::unique_ptr<Connection> Connect(const DatabaseUrl& url, SqliteSync sync) {
  if (url.engine == Engine::kSqlite) return ConnectSqlite(url.target, sync);
  return ConnectPostgres(url.target);
}

}  // namespace rqbservice
