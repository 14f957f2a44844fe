// Connections shared by the threads that answer requests. A thread borrows
// one for a query and gives it back; the pool opens more as needed and keeps
// at most `max_idle` open between uses.
#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

#include "database/Connection.h"

namespace rqbservice {

class ConnectionPool {
 public:
  ConnectionPool(DatabaseUrl url, SqliteSync sync, std::size_t max_idle);

  class Lease {
   public:
    Lease(ConnectionPool& pool, std::unique_ptr<Connection> connection)
        : pool_(pool), connection_(std::move(connection)) {}
    ~Lease() { pool_.GiveBack(std::move(connection_)); }
    Lease(const Lease&) = delete;
    Lease& operator=(const Lease&) = delete;
    Connection* operator->() const { return connection_.get(); }
    Connection& operator*() const { return *connection_; }

   private:
    ConnectionPool& pool_;
    std::unique_ptr<Connection> connection_;
  };

  // Throws DatabaseError when no connection can be opened.
  Lease Borrow();
  Engine engine() const { return url_.engine; }
  // A connection of the pool's kind that nobody else uses, for a thread that
  // keeps it (the writer).
  std::unique_ptr<Connection> Open() const { return Connect(url_, sync_); }

 private:
  void GiveBack(std::unique_ptr<Connection> connection);

  const DatabaseUrl url_;
  const SqliteSync sync_;
  const std::size_t max_idle_;
  std::mutex mutex_;
  std::vector<std::unique_ptr<Connection>> idle_;  // guarded by mutex_
};

}  // namespace rqbservice
