#include "Platform/linux/TlsLibrary.h"

#include <memory>

#include "Platform/linux/RuntimeLibrary.h"
#include "Platform/linux/RuntimeSonames.h"

namespace rqb {
namespace {

constinit LoadOnce<const CryptoFunctions*> g_crypto;

const CryptoFunctions* LoadAndInitialise() {
  RuntimeLibrary library(RQB_LIBCRYPTO_SONAME);
  auto functions = std::make_unique<CryptoFunctions>();
  library.Resolve(functions->init_crypto, "OPENSSL_init_crypto");
  library.Resolve(functions->hmac, "HMAC");
  library.Resolve(functions->sha256, "EVP_sha256");
  if (!library.ok()) return nullptr;
  // Fails once OpenSSL has been cleaned up (exit has begun under a host
  // that initialised it first): then it must not be used at all.
  if (functions->init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr) != 1) return nullptr;
  // After OpenSSL's initialisation, so that it runs before any exit handler
  // OpenSSL registered.
  CloseLibrarySectionsAtExit();
  return functions.release();  // never destroyed, as the library is never closed
}

}  // namespace

const CryptoFunctions* InitTlsLibrary() {
  const CryptoFunctions* const functions = g_crypto.Get([] { return LoadAndInitialise(); });
  if (ScopedUnloadableLibrary::Active(RuntimeLibraryId::kCrypto)) return nullptr;
  return functions;
}

}  // namespace rqb
