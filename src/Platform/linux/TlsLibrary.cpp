#include "Platform/linux/TlsLibrary.h"

#include <pthread.h>

#include <cstdlib>
#include <memory>

#include "Platform/PerProcess.h"
#include "Platform/linux/RuntimeLibrary.h"
#include "Platform/linux/RuntimeSonames.h"

namespace rqb {
namespace {

struct Gate {
  std::shared_mutex sections;
};

PerProcess<Gate>& TheGate() {
  static auto* const gate = new PerProcess<Gate>();  // never destroyed: used inside exit()
  return *gate;
}

// Closes the gate for good. Registered after OpenSSL initialised, so it runs
// before any exit handler of OpenSSL's.
void CloseForExit() { TheGate().Get().sections.lock(); }

// Holds the gate across fork(2) in the parent. The child's gate is a fresh
// one (PerProcess), as this one is locked by a thread that is not the child's.
void HoldForFork() { TheGate().Get().sections.lock(); }
void ReleaseAfterFork() { TheGate().Get().sections.unlock(); }

const CryptoFunctions* LoadAndInitialise() {
  RuntimeLibrary library(RQB_LIBCRYPTO_SONAME);
  auto functions = std::make_unique<CryptoFunctions>();
  library.Resolve(functions->init_crypto, "OPENSSL_init_crypto");
  library.Resolve(functions->hmac, "HMAC");
  library.Resolve(functions->sha256, "EVP_sha256");
  if (!library.ok()) return nullptr;
  functions->init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
  TheGate().Get();
  std::atexit(&CloseForExit);
  pthread_atfork(&HoldForFork, &ReleaseAfterFork, nullptr);
  return functions.release();  // never destroyed, as the library is never closed
}

}  // namespace

const CryptoFunctions* InitTlsLibrary() {
  static const CryptoFunctions* const functions = LoadAndInitialise();
  if (ScopedUnloadableLibrary::Active(RuntimeLibraryId::kCrypto)) return nullptr;
  return functions;
}

TlsSection::TlsSection() : gate_(TheGate().Get().sections) { gate_.lock_shared(); }

TlsSection::~TlsSection() { gate_.unlock_shared(); }

}  // namespace rqb
