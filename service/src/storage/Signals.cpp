#include <map>

#include "storage/Storage.h"

namespace rqbservice {
namespace {

std::vector<IdentifierCount> ToCounts(const std::vector<SqlRow>& rows) {
  std::vector<IdentifierCount> counts;
  for (const SqlRow& row : rows) {
    counts.push_back({row.at(0).value_or(""), std::stoll(row.at(1).value_or("0")),
                      std::stoll(row.at(2).value_or("0")), std::stoll(row.at(3).value_or("0"))});
  }
  return counts;
}

// Identifiers in `key` seen since $1 with at least $2 distinct `counted`
// values (devices are never counted without their identifier), with the
// first and last time each was seen; at most $3, the most counted first.
std::string CountsOf(const std::string& key, const std::string& counted) {
  const std::string count = "COUNT(DISTINCT " + counted + ")";
  return "SELECT " + key + ", " + count + ", MIN(received_at_us), MAX(received_at_us)" +
         " FROM receptions WHERE received_at_us >= $1 AND device_generated_id IS NOT NULL" +
         " GROUP BY " + key + " HAVING " + count + " >= $2 ORDER BY " + count + " DESC, " + key +
         " LIMIT $3";
}

// Identifiers in `key` seen since $1 with more than one distinct non-empty
// `other`, and those others. Both columns are named by the caller.
std::string ChangesOf(const std::string& key, const std::string& other) {
  return "SELECT DISTINCT " + key + ", " + other + " FROM receptions WHERE " + key +
         " IN (SELECT " + key + " FROM receptions WHERE received_at_us >= $1 AND " + other +
         " IS NOT NULL AND " + key + " IS NOT NULL GROUP BY " + key + " HAVING COUNT(DISTINCT " +
         other + ") > 1 ORDER BY COUNT(DISTINCT " + other + ") DESC, " + key +
         " LIMIT $2) AND received_at_us >= $1 AND " + other + " IS NOT NULL ORDER BY " + key +
         ", " + other;
}

}  // namespace

std::vector<IdentifierCount> Storage::DevicesWithManySessions(std::int64_t since_us,
                                                              std::int64_t min_sessions,
                                                              std::int64_t limit) {
  return ToCounts(pool_.Borrow()->Query(CountsOf("device_generated_id", "session_id"),
                                        {since_us, min_sessions, limit}));
}

std::vector<IdentifierCount> Storage::SessionsOnManyDevices(std::int64_t since_us,
                                                            std::int64_t min_devices,
                                                            std::int64_t limit) {
  return ToCounts(pool_.Borrow()->Query(CountsOf("session_id", "device_generated_id"),
                                        {since_us, min_devices, limit}));
}

std::vector<IdentifierChange> Storage::IdentifierChanges(std::int64_t since_us,
                                                         std::int64_t limit) {
  auto connection = pool_.Borrow();
  std::vector<IdentifierChange> changes;
  const struct {
    const char* kind;
    const char* key;
    const char* other;
  } kinds[] = {{"vendor-device-ids", "vendor_id", "device_generated_id"},
               {"device-vendor-ids", "device_generated_id", "vendor_id"},
               {"device-advertising-ids", "device_generated_id", "advertising_id"}};
  for (const auto& kind : kinds) {
    for (const SqlRow& row :
         connection->Query(ChangesOf(kind.key, kind.other), {since_us, limit})) {
      const std::string identifier = row.at(0).value_or("");
      if (changes.empty() || changes.back().kind != kind.kind ||
          changes.back().identifier != identifier) {
        changes.push_back({kind.kind, identifier, {}});
      }
      changes.back().values.push_back(row.at(1).value_or(""));
    }
  }
  return changes;
}

}  // namespace rqbservice
