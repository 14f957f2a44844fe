// The two engines' connections, made only through Connect().
#pragma once

#include <memory>
#include <string>

#include "database/Connection.h"

namespace rqbservice {

std::unique_ptr<Connection> ConnectSqlite(const std::string& path, SqliteSync sync);
std::unique_ptr<Connection> ConnectPostgres(const std::string& url);

}  // namespace rqbservice
