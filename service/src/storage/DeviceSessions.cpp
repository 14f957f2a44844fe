#include "storage/Storage.h"

namespace rqbservice {
namespace {

std::vector<DeviceSession> ToSessions(const std::vector<SqlRow>& rows) {
  std::vector<DeviceSession> sessions;
  for (const SqlRow& row : rows) {
    sessions.push_back({row.at(0).value_or(""), row.at(1).value_or(""),
                        std::stoll(row.at(2).value_or("0")), std::stoll(row.at(3).value_or("0")),
                        std::stoll(row.at(4).value_or("0"))});
  }
  return sessions;
}

// The column is named by the caller, never by a request.
std::string SessionsBy(const char* column) {
  return std::string(
             "SELECT session_id, app, MIN(received_at_us), MAX(received_at_us), COUNT(*)"
             " FROM receptions WHERE ") +
         column +
         " = $1 GROUP BY session_id, app ORDER BY MAX(received_at_us) DESC, session_id LIMIT $2";
}

}  // namespace

std::vector<DeviceSession> Storage::SessionsOfDevice(const std::string& device_generated_id,
                                                     std::int64_t limit) {
  auto connection = pool_.Borrow();
  return ToSessions(
      connection->Query(SessionsBy("device_generated_id"), {device_generated_id, limit}));
}

std::vector<DeviceSession> Storage::SessionsOfVendor(const std::string& vendor_id,
                                                     std::int64_t limit) {
  auto connection = pool_.Borrow();
  return ToSessions(connection->Query(SessionsBy("vendor_id"), {vendor_id, limit}));
}

}  // namespace rqbservice
