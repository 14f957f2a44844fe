#include "database/Migrations.h"

#include <chrono>
#include <string>
#include <vector>

namespace rqbservice {
namespace {

// Written once for both engines; {id} stands for the one column type they
// spell differently.
const std::vector<std::string>& MigrationScripts() {
  static const auto* scripts = new std::vector<std::string>{
      // 1: receptions, one row per accepted upload.
      R"(CREATE TABLE receptions (
           id {id},
           received_at_us BIGINT NOT NULL,
           app TEXT NOT NULL,
           session_id TEXT NOT NULL,
           device_generated_id TEXT,
           vendor_id TEXT,
           advertising_id TEXT,
           raw TEXT NOT NULL,
           profile TEXT NOT NULL,
           undecoded TEXT NOT NULL
         );
         CREATE INDEX receptions_by_session ON receptions (session_id, received_at_us);
         CREATE INDEX receptions_by_device ON receptions (device_generated_id, received_at_us);
         CREATE INDEX receptions_by_vendor ON receptions (vendor_id, received_at_us);
         CREATE INDEX receptions_by_app ON receptions (app, received_at_us);
         CREATE INDEX receptions_by_time ON receptions (received_at_us);)",
  };
  return *scripts;
}

std::string ForEngine(std::string script, Engine engine) {
  const std::string id = engine == Engine::kSqlite
                             ? "INTEGER PRIMARY KEY"
                             : "BIGINT GENERATED ALWAYS AS IDENTITY PRIMARY KEY";
  for (std::size_t at = script.find("{id}"); at != std::string::npos; at = script.find("{id}")) {
    script.replace(at, 4, id);
  }
  return script;
}

std::int64_t NowMicroseconds() {
  return std::chrono::duration_cast<std::chrono::microseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

}  // namespace

int LatestSchemaVersion() { return static_cast<int>(MigrationScripts().size()); }

void Migrate(Connection& connection) {
  connection.InWriteTransaction([&] {
    if (connection.engine() == Engine::kPostgres) {
      // Instances that start together wait here for each other.
      connection.Query("SELECT pg_advisory_xact_lock(7270417)");
    }
    connection.Execute(
        "CREATE TABLE IF NOT EXISTS schema_migrations ("
        " version INTEGER PRIMARY KEY, applied_at_us BIGINT NOT NULL)");
    const auto rows = connection.Query("SELECT COALESCE(MAX(version), 0) FROM schema_migrations");
    const int applied = std::stoi(rows.at(0).at(0).value_or("0"));
    if (applied > LatestSchemaVersion()) {
      throw DatabaseError("the database's schema (version " + std::to_string(applied) +
                          ") is newer than this program's (" +
                          std::to_string(LatestSchemaVersion()) + ")");
    }
    for (int version = applied + 1; version <= LatestSchemaVersion(); ++version) {
      connection.Execute(ForEngine(MigrationScripts()[static_cast<std::size_t>(version - 1)],
                                   connection.engine()));
      connection.Query("INSERT INTO schema_migrations (version, applied_at_us) VALUES ($1, $2)",
                       {std::int64_t{version}, NowMicroseconds()});
    }
  });
}

}  // namespace rqbservice
