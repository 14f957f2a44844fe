#include "database/ConnectionPool.h"

namespace rqbservice {

ConnectionPool::ConnectionPool(DatabaseUrl url, SqliteSync sync, std::size_t max_idle)
    : url_(std::move(url)), sync_(sync), max_idle_(max_idle) {}

ConnectionPool::Lease ConnectionPool::Borrow() {
  {
    std::lock_guard lock(mutex_);
    if (!idle_.empty()) {
      std::unique_ptr<Connection> connection = std::move(idle_.back());
      idle_.pop_back();
      return Lease(*this, std::move(connection));
    }
  }
  return Lease(*this, Open());  // opened outside the lock: it may take a while
}

void ConnectionPool::GiveBack(std::unique_ptr<Connection> connection) {
  if (!connection || !connection->usable()) return;
  std::lock_guard lock(mutex_);
  if (idle_.size() < max_idle_) idle_.push_back(std::move(connection));
}

}  // namespace rqbservice
