#include <httplib.h>

#include <chrono>

#include "api/Api.h"
#include "api/JsonResponses.h"
#include "api/Rfc3339.h"
#include "log/Log.h"
#include "profile/Envelope.h"
#include "profile/ProfileDecoder.h"

namespace rqbservice {
namespace {

// An identifier copied out of the decoded profile for lookups: only a
// non-empty text counts.
std::optional<std::string> Identifier(const nlohmann::json& profile, const char* key) {
  const auto value = profile.find(key);
  if (value == profile.end() || !value->is_string()) return std::nullopt;
  std::string text = value->get<std::string>();
  if (text.empty()) return std::nullopt;
  return text;
}

Reception ToReception(const Envelope& envelope, const DecodedProfile& decoded,
                      const std::string& body, std::int64_t received_at_us) {
  Reception reception;
  reception.received_at_us = received_at_us;
  reception.app = envelope.app;
  reception.session_id = envelope.session_id;
  reception.device_generated_id = Identifier(decoded.profile, "DeviceGeneratedId");
  reception.vendor_id = Identifier(decoded.profile, "VisitorIdentifierForVendor");
  reception.advertising_id = Identifier(decoded.profile, "AdvertisingId");
  reception.raw = body;
  reception.profile_json = decoded.profile.dump();
  reception.undecoded_json = nlohmann::json(decoded.undecoded).dump();
  return reception;
}

double SecondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

void RegisterIngestion(httplib::Server& server, ApiContext& context) {
  server.Post("/api/profiler/variables", [&context](const httplib::Request& request,
                                                    httplib::Response& response) {
    const auto start = std::chrono::steady_clock::now();
    const std::int64_t received_at = NowMicroseconds();
    auto refuse = [&](Rejection rejection) {
      context.metrics.CountRejection(rejection);
      SendError(response, RejectionStatus(rejection), RejectionMessage(rejection),
                RejectionName(rejection));
      LogEvent({{"event", "rejection"},
                {"reason", RejectionName(rejection)},
                {"status", response.status},
                {"bytes", request.body.size()},
                {"peer", request.remote_addr}});
    };
    if (!IsJsonContentType(request.get_header_value("Content-Type"))) {
      return refuse(Rejection::kContentType);
    }
    auto read = ReadEnvelope(request.body);
    if (const auto* rejection = std::get_if<Rejection>(&read)) return refuse(*rejection);
    const Envelope& envelope = std::get<Envelope>(read);
    const DecodedProfile decoded = DecodeProfile(envelope.variables);

    std::int64_t id = 0;
    try {
      id = context.writer.Write(ToReception(envelope, decoded, request.body, received_at));
    } catch (const DatabaseError& error) {
      context.metrics.CountStoreFailure();
      SendError(response, 503, "the profile could not be stored; try again later");
      LogEvent({{"event", "store_failure"},
                {"app", envelope.app},
                {"sessionId", envelope.session_id},
                {"error", error.what()}});
      return;
    }
    const double seconds = SecondsSince(start);
    context.metrics.CountReception(seconds);
    SendJson(response, 200,
             {{"stored", true}, {"id", id}, {"receivedAt", FormatRfc3339(received_at)}});
    LogEvent({{"event", "reception"},
              {"status", 200},
              {"id", id},
              {"app", envelope.app},
              {"sessionId", envelope.session_id},
              {"keys", envelope.variables.size()},
              {"undecoded", decoded.undecoded},
              {"bytes", request.body.size()},
              {"ms", seconds * 1000},
              {"peer", request.remote_addr}});
  });
}

}  // namespace rqbservice
