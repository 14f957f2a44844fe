#include "database/Connection.h"

namespace rqbservice {

DatabaseUrl DatabaseUrl::Parse(const std::string& url) {
  if (url.starts_with("sqlite:")) {
    std::string path = url.substr(7);
    if (path.starts_with("//")) path.erase(0, 2);  // sqlite:///var/lib/x.db
    if (path.empty()) throw DatabaseError("sqlite: URL without a file path");
    return {Engine::kSqlite, path};
  }
  if (url.starts_with("postgresql://") || url.starts_with("postgres://")) {
    return {Engine::kPostgres, url};
  }
  throw DatabaseError("database URL must be sqlite:PATH or postgresql://...");
}

}  // namespace rqbservice
