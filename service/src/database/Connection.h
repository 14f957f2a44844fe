// One connection to the database, SQLite or PostgreSQL. Statements are
// written once, with PostgreSQL's $1, $2... placeholders, which SQLite reads
// as named parameters. Not thread-safe: one thread uses a connection at a
// time (see ConnectionPool).
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

namespace rqbservice {

enum class Engine { kSqlite, kPostgres };

struct DatabaseError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Where the data lives: "sqlite:PATH", or a "postgresql://" (or
// "postgres://") connection URL as libpq reads it.
struct DatabaseUrl {
  Engine engine;
  std::string target;  // the SQLite file, or the URL for libpq

  // Throws DatabaseError for anything else.
  static DatabaseUrl Parse(const std::string& url);
};

using SqlValue = std::variant<std::nullptr_t, std::int64_t, std::string>;
// Every column as text; SQL NULL as nothing.
using SqlRow = std::vector<std::optional<std::string>>;

// How hard SQLite waits for the disk on commit (PostgreSQL is configured by
// its server).
enum class SqliteSync { kNormal, kFull };

class Connection {
 public:
  virtual ~Connection() = default;
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  virtual Engine engine() const = 0;
  // Runs statements without parameters, such as a migration script.
  virtual void Execute(const std::string& sql) = 0;
  // Runs one statement and returns its rows. Throws DatabaseError.
  virtual std::vector<SqlRow> Query(const std::string& sql,
                                    const std::vector<SqlValue>& parameters = {}) = 0;
  // False once the connection is known to be broken; the pool drops it.
  virtual bool usable() const = 0;

  // A write transaction that holds the database's write lock from its start,
  // so that two writers never deadlock upgrading a read lock.
  virtual void BeginWrite() = 0;

  // Runs `work` in one write transaction: committed when it returns, rolled
  // back when it throws (the exception goes on to the caller).
  template <typename Work>
  void InWriteTransaction(Work&& work) {
    BeginWrite();
    try {
      work();
      Execute("COMMIT");
    } catch (...) {
      try {
        Execute("ROLLBACK");
      } catch (const DatabaseError&) {
        // The connection is broken; nothing was committed, and the first
        // error says why.
      }
      throw;
    }
  }

 protected:
  Connection() = default;
};

std::unique_ptr<Connection> Connect(const DatabaseUrl& url, SqliteSync sync = SqliteSync::kNormal);

}  // namespace rqbservice
