// OpenSSL's libcrypto, loaded when first needed, and its process-wide state
// as the library's threads use it. Calls into OpenSSL, directly or through
// libcurl, are made inside a LibrarySection (RuntimeLibrary.h).
#pragma once

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>

namespace rqb {

// The functions of libcrypto that the library calls, typed as its headers
// declare them.
struct CryptoFunctions {
  decltype(&::OPENSSL_init_crypto) init_crypto = nullptr;
  decltype(&::HMAC) hmac = nullptr;
  decltype(&::EVP_sha256) sha256 = nullptr;
};

// Loads libcrypto and initialises OpenSSL, once per process once that
// succeeded; nullptr when libcrypto cannot be loaded, and the next call tries
// again. Called before every use of OpenSSL by the
// library, libcurl's included, so that when it is the process's first
// initialisation OpenSSL registers no exit handler: that handler frees
// OpenSSL's global state inside exit(), under library threads that may still
// be in a TLS handshake or an HMAC while the host exits. From then on, exit
// waits for the LibrarySections under way and admits no new one, so that
// OpenSSL's own exit handler (registered when the host initialised OpenSSL
// first) never frees what a library thread uses. Library threads only; cheap
// after the first call. Not from inside a LibrarySection.
const CryptoFunctions* InitTlsLibrary();

}  // namespace rqb
