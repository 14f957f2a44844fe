// What the service keeps: receptions of device profiles, and the views of
// them an analyst asks for. One type; each thing stored has its own file
// (Receptions.cpp, DeviceSessions.cpp, Signals.cpp), with its SQL written
// out. Safe to use from many threads: each call borrows its own connection.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "database/ConnectionPool.h"

namespace rqbservice {

// One accepted upload, as stored.
struct Reception {
  std::int64_t id = 0;              // set by the database
  std::int64_t received_at_us = 0;  // microseconds since the Unix epoch, UTC
  std::string app;
  std::string session_id;
  // The device's identifiers, copied out of the profile for lookups; absent
  // when the profile has none.
  std::optional<std::string> device_generated_id;
  std::optional<std::string> vendor_id;  // VisitorIdentifierForVendor
  std::optional<std::string> advertising_id;
  std::string raw;             // the body byte for byte
  std::string profile_json;    // the decoded profile, a JSON object
  std::string undecoded_json;  // the keys that did not decode, a JSON array
};

struct ReceptionFilter {
  std::optional<std::string> app;
  std::optional<std::int64_t> since_us;  // inclusive
  std::optional<std::int64_t> until_us;  // exclusive
  std::int64_t limit = 50;
};

// One session as seen from a device: when and how often it uploaded.
struct DeviceSession {
  std::string session_id;
  std::string app;
  std::int64_t first_us = 0;
  std::int64_t last_us = 0;
  std::int64_t receptions = 0;
};

// An identifier and how many distinct others went with it (sessions per
// device, devices per session).
struct IdentifierCount {
  std::string identifier;
  std::int64_t count = 0;
  std::int64_t first_us = 0;
  std::int64_t last_us = 0;
};

// An identifier that was seen with several values of another: one vendor
// identifier with several device-generated identifiers (the app was
// reinstalled or the stored identifier was reset), or one device-generated
// identifier with several vendor or advertising identifiers.
struct IdentifierChange {
  std::string kind;  // "vendor-device-ids", "device-vendor-ids" or "device-advertising-ids"
  std::string identifier;
  std::vector<std::string> values;
};

class Storage {
 public:
  // Connects, and brings the schema up to date. Throws DatabaseError.
  Storage(const DatabaseUrl& url, SqliteSync sync = SqliteSync::kNormal);

  Engine engine() const { return pool_.engine(); }
  // True when the database answers.
  bool Ping();

  // Writes all receptions in one transaction on `connection` (the group
  // commit writer's own), and sets their ids. Throws DatabaseError, having
  // written none.
  static void AppendReceptions(Connection& connection, std::span<Reception> receptions);
  std::unique_ptr<Connection> OpenWriterConnection() const { return pool_.Open(); }

  // Oldest first.
  std::vector<Reception> SessionReceptions(const std::string& session_id);
  // Newest first.
  std::vector<Reception> RecentReceptions(const ReceptionFilter& filter);
  std::int64_t CountReceptions();

  // Newest first, at most `limit`.
  std::vector<DeviceSession> SessionsOfDevice(const std::string& device_generated_id,
                                              std::int64_t limit);
  std::vector<DeviceSession> SessionsOfVendor(const std::string& vendor_id, std::int64_t limit);

  // Signals since `since_us`, the largest first, at most `limit` each.
  std::vector<IdentifierCount> DevicesWithManySessions(std::int64_t since_us,
                                                       std::int64_t min_sessions,
                                                       std::int64_t limit);
  std::vector<IdentifierCount> SessionsOnManyDevices(std::int64_t since_us,
                                                     std::int64_t min_devices, std::int64_t limit);
  std::vector<IdentifierChange> IdentifierChanges(std::int64_t since_us, std::int64_t limit);

 private:
  ConnectionPool pool_;
};

}  // namespace rqbservice
