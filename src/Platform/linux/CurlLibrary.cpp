#include "Platform/linux/CurlLibrary.h"

#include <memory>
#include <string_view>

#include "Platform/linux/RuntimeLibrary.h"
#include "Platform/linux/RuntimeSonames.h"
#include "Platform/linux/TlsLibrary.h"

namespace rqb {
namespace {

// CURLOPT_PROTOCOLS_STR is the oldest option the uploads need.
constexpr unsigned kOldestVersion = 0x075500;  // 7.85.0

constinit LoadOnce<const CurlFunctions*> g_curl;

// Inside a LibrarySection, after OpenSSL's initialisation. nullptr, with
// `why`, when libcurl cannot be used.
const CurlFunctions* Load(std::string& why) {
  RuntimeLibrary library(RQB_LIBCURL_SONAME);
  auto functions = std::make_unique<CurlFunctions>();
#define RQB_RESOLVE(member, symbol) library.Resolve(functions->member, #symbol);
  RQB_CURL_FUNCTIONS(RQB_RESOLVE)
#undef RQB_RESOLVE
  if (!library.ok()) {
    why = library.error();
    return nullptr;
  }
  // Certificates given in memory (the loopback's test CA) need OpenSSL.
  const curl_version_info_data* version = functions->version_info(CURLVERSION_NOW);
  if (version == nullptr || version->version_num < kOldestVersion ||
      version->ssl_version == nullptr ||
      !std::string_view(version->ssl_version).starts_with("OpenSSL")) {
    why = std::string("libcurl 7.85 or later with OpenSSL is needed, found ") +
          (version != nullptr ? version->version : "no version");
    return nullptr;
  }
  if (functions->global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) {
    why = "libcurl could not be initialised";
    return nullptr;
  }
  return functions.release();  // never destroyed, as the library is never closed
}

}  // namespace

const CurlFunctions* Curl(std::string* why) {
  // OpenSSL first, in a section of its own: sections do not nest.
  if (InitTlsLibrary() == nullptr) {
    if (why != nullptr) *why = "OpenSSL's libcrypto could not be loaded";
    return nullptr;
  }
  std::string failure;
  const CurlFunctions* const curl = g_curl.Get([&] { return Load(failure); });
  if (ScopedUnloadableLibrary::Active(RuntimeLibraryId::kCurl)) {
    if (why != nullptr) *why = RQB_LIBCURL_SONAME ": cannot be loaded";
    return nullptr;
  }
  if (curl == nullptr && why != nullptr) *why = std::move(failure);
  return curl;
}

}  // namespace rqb
