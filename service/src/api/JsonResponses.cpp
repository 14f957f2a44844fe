#include "api/JsonResponses.h"

#include <httplib.h>

#include "api/Rfc3339.h"

namespace rqbservice {

void SendJson(httplib::Response& response, int status, const nlohmann::json& body) {
  response.status = status;
  // The stored texts are valid UTF-8; replace guards the rest.
  response.set_content(body.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace),
                       "application/json");
}

void SendError(httplib::Response& response, int status, std::string_view message,
               std::string_view reason) {
  nlohmann::json body = {{"error", message}};
  if (!reason.empty()) body["reason"] = reason;
  SendJson(response, status, body);
}

nlohmann::json ReceptionJson(const Reception& reception) {
  nlohmann::json profile = nlohmann::json::parse(reception.profile_json, nullptr, false);
  nlohmann::json undecoded = nlohmann::json::parse(reception.undecoded_json, nullptr, false);
  return {
      {"id", reception.id},
      {"app", reception.app},
      {"sessionId", reception.session_id},
      {"receivedAt", FormatRfc3339(reception.received_at_us)},
      {"raw", reception.raw},
      {"profile", profile.is_discarded() ? nlohmann::json::object() : profile},
      {"undecoded", undecoded.is_discarded() ? nlohmann::json::array() : undecoded},
  };
}

}  // namespace rqbservice
