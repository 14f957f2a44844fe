#include <string>

#include "storage/Storage.h"

namespace rqbservice {
namespace {

constexpr char kColumns[] =
    "id, received_at_us, app, session_id, device_generated_id, vendor_id, advertising_id, raw, "
    "profile, undecoded";

SqlValue TextOrNull(const std::optional<std::string>& text) {
  return text ? SqlValue(*text) : SqlValue(nullptr);
}

std::vector<Reception> ToReceptions(const std::vector<SqlRow>& rows) {
  std::vector<Reception> receptions;
  receptions.reserve(rows.size());
  for (const SqlRow& row : rows) {
    Reception& r = receptions.emplace_back();
    r.id = std::stoll(row.at(0).value_or("0"));
    r.received_at_us = std::stoll(row.at(1).value_or("0"));
    r.app = row.at(2).value_or("");
    r.session_id = row.at(3).value_or("");
    r.device_generated_id = row.at(4);
    r.vendor_id = row.at(5);
    r.advertising_id = row.at(6);
    r.raw = row.at(7).value_or("");
    r.profile_json = row.at(8).value_or("{}");
    r.undecoded_json = row.at(9).value_or("[]");
  }
  return receptions;
}

}  // namespace

void Storage::AppendReceptions(Connection& connection, std::span<Reception> receptions) {
  connection.InWriteTransaction([&] {
    for (Reception& r : receptions) {
      const auto rows = connection.Query(
          "INSERT INTO receptions (received_at_us, app, session_id, device_generated_id, "
          "vendor_id, advertising_id, raw, profile, undecoded) "
          "VALUES ($1, $2, $3, $4, $5, $6, $7, $8, $9) RETURNING id",
          {r.received_at_us, r.app, r.session_id, TextOrNull(r.device_generated_id),
           TextOrNull(r.vendor_id), TextOrNull(r.advertising_id), r.raw, r.profile_json,
           r.undecoded_json});
      r.id = std::stoll(rows.at(0).at(0).value_or("0"));
    }
  });
}

std::vector<Reception> Storage::SessionReceptions(const std::string& session_id) {
  auto connection = pool_.Borrow();
  return ToReceptions(connection->Query(std::string("SELECT ") + kColumns +
                                            " FROM receptions WHERE session_id = $1 "
                                            "ORDER BY received_at_us, id",
                                        {session_id}));
}

std::vector<Reception> Storage::RecentReceptions(const ReceptionFilter& filter) {
  auto connection = pool_.Borrow();
  // A missing filter is a NULL parameter that matches every row.
  return ToReceptions(
      connection->Query(std::string("SELECT ") + kColumns +
                            " FROM receptions"
                            " WHERE (CAST($1 AS TEXT) IS NULL OR app = $1)"
                            " AND received_at_us >= $2 AND received_at_us < $3"
                            " ORDER BY received_at_us DESC, id DESC LIMIT $4",
                        {TextOrNull(filter.app), filter.since_us.value_or(INT64_MIN),
                         filter.until_us.value_or(INT64_MAX), filter.limit}));
}

std::int64_t Storage::CountReceptions() {
  auto connection = pool_.Borrow();
  return std::stoll(connection->Query("SELECT COUNT(*) FROM receptions").at(0).at(0).value_or("0"));
}

}  // namespace rqbservice
