// OpenSSL's libcrypto, loaded when first needed, and its process-wide state
// as the library's threads use it.
#pragma once

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <shared_mutex>

namespace rqb {

// The functions of libcrypto that the library calls, typed as its headers
// declare them.
struct CryptoFunctions {
  decltype(&::OPENSSL_init_crypto) init_crypto = nullptr;
  decltype(&::HMAC) hmac = nullptr;
  decltype(&::EVP_sha256) sha256 = nullptr;
};

// Loads libcrypto and initialises OpenSSL once per process; nullptr when
// libcrypto cannot be loaded. Called before every use of OpenSSL by the
// library, libcurl's included, so that when it is the process's first
// initialisation OpenSSL registers no exit handler: that handler frees
// OpenSSL's global state inside exit(), under library threads that may still
// be in a TLS handshake or an HMAC while the host exits. Any thread; cheap
// after the first call, which only a library thread should make.
const CryptoFunctions* InitTlsLibrary();

// Held by a library thread while it calls into OpenSSL, directly or through
// libcurl. From the start of exit() on, no library thread enters OpenSSL
// again: exit waits for the sections under way and admits no new one, so that
// OpenSSL's own exit handler (registered when the host initialised OpenSSL
// first) never frees what a library thread uses. fork(2) waits for them too,
// so that a child never inherits an OpenSSL lock that a library thread held.
// Host threads never take it: one would wait for ever once exit has begun.
class TlsSection {
 public:
  TlsSection();
  ~TlsSection();
  TlsSection(const TlsSection&) = delete;
  TlsSection& operator=(const TlsSection&) = delete;

 private:
  std::shared_mutex& gate_;
};

}  // namespace rqb
