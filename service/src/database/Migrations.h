// The schema, as an ordered list of migrations. The schema's version is the
// number of migrations applied. A migration that has shipped is never
// edited: changes are new migrations at the end of the list.
#pragma once

#include "database/Connection.h"

namespace rqbservice {

// Applies the migrations the database lacks, in one transaction that holds
// the write lock, so that instances starting together apply each once.
// Throws DatabaseError, also when the database is newer than this program.
void Migrate(Connection& connection);

// The number of migrations this program knows.
int LatestSchemaVersion();

}  // namespace rqbservice
