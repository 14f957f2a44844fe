#include "api/Authorization.h"

#include <httplib.h>
#include <openssl/crypto.h>

namespace rqbservice {

bool HasBearerToken(const httplib::Request& request, const std::string& token) {
  const std::string header = request.get_header_value("Authorization");
  constexpr std::string_view kScheme = "Bearer ";
  if (token.empty() || header.size() != kScheme.size() + token.size() ||
      !header.starts_with(kScheme)) {
    return false;
  }
  return CRYPTO_memcmp(header.data() + kScheme.size(), token.data(), token.size()) == 0;
}

}  // namespace rqbservice
