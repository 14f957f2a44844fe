#include "Platform/linux/TlsLibrary.h"

#include <cstdlib>
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
  functions->init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
  // Registered after OpenSSL initialised, so that it runs before any exit
  // handler of OpenSSL's.
  std::atexit(&CloseLibrarySectionsForExit);
  return functions.release();  // never destroyed, as the library is never closed
}

}  // namespace

const CryptoFunctions* InitTlsLibrary() {
  const CryptoFunctions* const functions = g_crypto.Get(&LoadAndInitialise);
  if (ScopedUnloadableLibrary::Active(RuntimeLibraryId::kCrypto)) return nullptr;
  return functions;
}

}  // namespace rqb
