// JSON bodies shared by the handlers.
#pragma once

#include <nlohmann/json.hpp>
#include <string_view>

#include "storage/Storage.h"

namespace httplib {
struct Response;
}

namespace rqbservice {

void SendJson(httplib::Response& response, int status, const nlohmann::json& body);
// {"error": message}, plus "reason" when given.
void SendError(httplib::Response& response, int status, std::string_view message,
               std::string_view reason = {});

// A reception as the API shows it: app, sessionId, receivedAt, raw (the body
// as received), profile (typed values) and undecoded.
nlohmann::json ReceptionJson(const Reception& reception);

}  // namespace rqbservice
