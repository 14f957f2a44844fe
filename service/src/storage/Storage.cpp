#include "storage/Storage.h"

#include "database/Migrations.h"

namespace rqbservice {

Storage::Storage(const DatabaseUrl& url, SqliteSync sync) : pool_(url, sync, /*max_idle=*/16) {
  auto connection = pool_.Borrow();
  Migrate(*connection);
}

bool Storage::Ping() {
  try {
    auto connection = pool_.Borrow();
    return connection->Query("SELECT 1").size() == 1;
  } catch (const DatabaseError&) {
    return false;
  }
}

}  // namespace rqbservice
