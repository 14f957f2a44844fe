#include "Platform/linux/TlsLibrary.h"

#include <openssl/crypto.h>
#include <pthread.h>

#include <cstdlib>

#include "Platform/PerProcess.h"

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

}  // namespace

void InitTlsLibrary() {
  [[maybe_unused]] static const bool initialised = [] {
    OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
    TheGate().Get();
    std::atexit(&CloseForExit);
    pthread_atfork(&HoldForFork, &ReleaseAfterFork, nullptr);
    return true;
  }();
}

TlsSection::TlsSection() : gate_(TheGate().Get().sections) { gate_.lock_shared(); }

TlsSection::~TlsSection() { gate_.unlock_shared(); }

}  // namespace rqb
