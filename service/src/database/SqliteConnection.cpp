#include <sqlite3.h>

#include <cstdio>
#include <map>

#include "database/Connection.h"
#include "database/EngineConnections.h"

namespace rqbservice {
namespace {

class SqliteConnection final : public Connection {
 public:
  SqliteConnection(const std::string& path, SqliteSync sync) {
    const int opened = sqlite3_open_v2(
        path.c_str(), &db_,
        SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE,
        nullptr);
    if (opened != SQLITE_OK) {
      const std::string why = db_ ? sqlite3_errmsg(db_) : sqlite3_errstr(opened);
      sqlite3_close(db_);
      throw DatabaseError("sqlite: cannot open " + path + ": " + why);
    }
    // Writers of other connections (and other processes) are waited for
    // rather than failed at once.
    sqlite3_busy_timeout(db_, 10000);
    // WAL: readers never block the writer. NORMAL commits reach the
    // operating system (they survive the process being killed); FULL also
    // waits for the disk (they survive a power cut).
    Execute("PRAGMA journal_mode=WAL");
    Execute(sync == SqliteSync::kFull ? "PRAGMA synchronous=FULL" : "PRAGMA synchronous=NORMAL");
    // A checkpoint (copying the WAL into the database, and syncing it) every
    // 16 MB of WAL rather than every 4 MB; and the indexes' pages in memory.
    Execute("PRAGMA wal_autocheckpoint=4000");
    Execute("PRAGMA cache_size=-32768");
  }

  ~SqliteConnection() override {
    for (auto& [sql, statement] : statements_) sqlite3_finalize(statement);
    sqlite3_close(db_);
  }

  Engine engine() const override { return Engine::kSqlite; }
  bool usable() const override { return true; }

  void Execute(const std::string& sql) override {
    char* error = nullptr;
    if (sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, &error) != SQLITE_OK) {
      const std::string why = error ? error : sqlite3_errmsg(db_);
      sqlite3_free(error);
      throw DatabaseError("sqlite: " + why);
    }
  }

  void BeginWrite() override { Execute("BEGIN IMMEDIATE"); }

  std::vector<SqlRow> Query(const std::string& sql,
                            const std::vector<SqlValue>& parameters) override {
    sqlite3_stmt* statement = Prepared(sql);
    sqlite3_reset(statement);
    sqlite3_clear_bindings(statement);
    for (std::size_t i = 0; i < parameters.size(); ++i) {
      char name[24];  // "$1", "$2"...
      std::snprintf(name, sizeof name, "$%zu", i + 1);
      const int index = sqlite3_bind_parameter_index(statement, name);
      if (index == 0) continue;  // not used by this statement
      int bound = SQLITE_OK;
      if (const auto* text = std::get_if<std::string>(&parameters[i])) {
        bound = sqlite3_bind_text(statement, index, text->data(), static_cast<int>(text->size()),
                                  SQLITE_STATIC);
      } else if (const auto* number = std::get_if<std::int64_t>(&parameters[i])) {
        bound = sqlite3_bind_int64(statement, index, *number);
      } else {
        bound = sqlite3_bind_null(statement, index);
      }
      if (bound != SQLITE_OK) throw DatabaseError(std::string("sqlite: ") + sqlite3_errmsg(db_));
    }
    std::vector<SqlRow> rows;
    for (;;) {
      const int step = sqlite3_step(statement);
      if (step == SQLITE_DONE) break;
      if (step != SQLITE_ROW) {
        const std::string why = sqlite3_errmsg(db_);
        sqlite3_reset(statement);
        throw DatabaseError("sqlite: " + why);
      }
      SqlRow& row = rows.emplace_back();
      const int columns = sqlite3_column_count(statement);
      for (int c = 0; c < columns; ++c) {
        if (sqlite3_column_type(statement, c) == SQLITE_NULL) {
          row.emplace_back();
        } else {
          const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, c));
          row.emplace_back(
              std::string(text, static_cast<std::size_t>(sqlite3_column_bytes(statement, c))));
        }
      }
    }
    sqlite3_reset(statement);  // ends the statement's read of the database
    return rows;
  }

 private:
  // Statements are prepared once per connection and reused.
  sqlite3_stmt* Prepared(const std::string& sql) {
    auto found = statements_.find(sql);
    if (found != statements_.end()) return found->second;
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(db_, sql.c_str(), static_cast<int>(sql.size()), &statement, nullptr) !=
        SQLITE_OK) {
      throw DatabaseError(std::string("sqlite: ") + sqlite3_errmsg(db_));
    }
    statements_.emplace(sql, statement);
    return statement;
  }

  sqlite3* db_ = nullptr;
  std::map<std::string, sqlite3_stmt*> statements_;
};

}  // namespace

std::unique_ptr<Connection> ConnectSqlite(const std::string& path, SqliteSync sync) {
  return std::make_unique<SqliteConnection>(path, sync);
}

}  // namespace rqbservice
