#pragma once

#include <string>

namespace httplib {
struct Request;
}

namespace rqbservice {

// True when the request carries "Authorization: Bearer <token>". Compared in
// constant time, so that the answer's timing does not reveal the token.
bool HasBearerToken(const httplib::Request& request, const std::string& token);

}  // namespace rqbservice
