#include <httplib.h>

#include <charconv>
#include <chrono>
#include <functional>

#include "api/Api.h"
#include "api/Authorization.h"
#include "api/JsonResponses.h"
#include "api/Rfc3339.h"

namespace rqbservice {
namespace {

constexpr std::int64_t kDayMicroseconds = 24LL * 3600 * 1000 * 1000;

struct BadParameter {
  std::string message;
};

std::optional<std::string> Text(const httplib::Request& request, const char* name) {
  if (!request.has_param(name)) return std::nullopt;
  return request.get_param_value(name);
}

std::optional<std::int64_t> Time(const httplib::Request& request, const char* name) {
  const auto text = Text(request, name);
  if (!text) return std::nullopt;
  const auto time = ParseRfc3339(*text);
  if (!time) throw BadParameter{std::string(name) + " must be an RFC 3339 time"};
  return time;
}

std::int64_t Count(const httplib::Request& request, const char* name, std::int64_t fallback,
                   std::int64_t low, std::int64_t high) {
  const auto text = Text(request, name);
  if (!text) return fallback;
  std::int64_t value = 0;
  const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), value);
  if (error != std::errc() || end != text->data() + text->size() || value < low || value > high) {
    throw BadParameter{std::string(name) + " must be a whole number from " + std::to_string(low) +
                       " to " + std::to_string(high)};
  }
  return value;
}

nlohmann::json SessionsJson(const std::vector<DeviceSession>& sessions) {
  nlohmann::json list = nlohmann::json::array();
  for (const DeviceSession& s : sessions) {
    list.push_back({{"sessionId", s.session_id},
                    {"app", s.app},
                    {"firstReceivedAt", FormatRfc3339(s.first_us)},
                    {"lastReceivedAt", FormatRfc3339(s.last_us)},
                    {"receptions", s.receptions}});
  }
  return list;
}

nlohmann::json CountsJson(const std::vector<IdentifierCount>& counts, const char* identifier_name,
                          const char* count_name) {
  nlohmann::json list = nlohmann::json::array();
  for (const IdentifierCount& c : counts) {
    list.push_back({{identifier_name, c.identifier},
                    {count_name, c.count},
                    {"firstReceivedAt", FormatRfc3339(c.first_us)},
                    {"lastReceivedAt", FormatRfc3339(c.last_us)}});
  }
  return list;
}

// Signals look back a week unless told otherwise.
std::int64_t Since(const httplib::Request& request) {
  return Time(request, "since").value_or(NowMicroseconds() - 7 * kDayMicroseconds);
}

using Query = std::function<nlohmann::json(const httplib::Request&)>;

}  // namespace

void RegisterQueries(httplib::Server& server, ApiContext& context) {
  // Every query: the token first, then the answer; a bad parameter is 400,
  // a failing database 503.
  auto guarded = [&context](Query query) {
    return [&context, query](const httplib::Request& request, httplib::Response& response) {
      const auto start = std::chrono::steady_clock::now();
      response.set_header("Cache-Control", "no-store");
      if (!HasBearerToken(request, context.token)) {
        context.metrics.CountUnauthorized();
        response.set_header("WWW-Authenticate", "Bearer");
        return SendError(response, 401, "a valid bearer token is required");
      }
      try {
        nlohmann::json body = query(request);
        if (body.is_null()) {
          SendError(response, 404, "not found");
        } else {
          SendJson(response, 200, body);
        }
      } catch (const BadParameter& bad) {
        SendError(response, 400, bad.message);
      } catch (const DatabaseError&) {
        SendError(response, 503, "the database is not available");
      }
      context.metrics.CountQuery(
          std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    };
  };
  Storage& storage = context.storage;

  // The identifier is percent-decoded by the HTTP library.
  server.Get("/api/profiler/sessions/(.+)", guarded([&storage](const httplib::Request& request) {
               const auto receptions = storage.SessionReceptions(request.matches[1]);
               if (receptions.empty()) return nlohmann::json();
               nlohmann::json list = nlohmann::json::array();
               for (const Reception& r : receptions) list.push_back(ReceptionJson(r));
               return list;
             }));

  server.Get("/api/profiler/receptions", guarded([&storage](const httplib::Request& request) {
               ReceptionFilter filter{Text(request, "app"), Time(request, "since"),
                                      Time(request, "until"), Count(request, "limit", 50, 1, 500)};
               nlohmann::json list = nlohmann::json::array();
               for (const Reception& r : storage.RecentReceptions(filter)) {
                 list.push_back(ReceptionJson(r));
               }
               return list;
             }));

  server.Get(
      "/api/profiler/devices/(.+)/sessions", guarded([&storage](const httplib::Request& request) {
        return SessionsJson(
            storage.SessionsOfDevice(request.matches[1], Count(request, "limit", 100, 1, 1000)));
      }));

  server.Get(
      "/api/profiler/vendors/(.+)/sessions", guarded([&storage](const httplib::Request& request) {
        return SessionsJson(
            storage.SessionsOfVendor(request.matches[1], Count(request, "limit", 100, 1, 1000)));
      }));

  server.Get("/api/profiler/signals/devices-with-many-sessions",
             guarded([&storage](const httplib::Request& request) {
               return CountsJson(storage.DevicesWithManySessions(
                                     Since(request), Count(request, "min", 3, 2, 1000000),
                                     Count(request, "limit", 100, 1, 1000)),
                                 "deviceGeneratedId", "sessions");
             }));

  server.Get("/api/profiler/signals/sessions-on-many-devices",
             guarded([&storage](const httplib::Request& request) {
               return CountsJson(storage.SessionsOnManyDevices(
                                     Since(request), Count(request, "min", 2, 2, 1000000),
                                     Count(request, "limit", 100, 1, 1000)),
                                 "sessionId", "devices");
             }));

  server.Get("/api/profiler/signals/identifier-changes",
             guarded([&storage](const httplib::Request& request) {
               nlohmann::json list = nlohmann::json::array();
               for (const IdentifierChange& change : storage.IdentifierChanges(
                        Since(request), Count(request, "limit", 100, 1, 1000))) {
                 list.push_back({{"kind", change.kind},
                                 {"identifier", change.identifier},
                                 {"values", change.values}});
               }
               return list;
             }));
}

}  // namespace rqbservice
