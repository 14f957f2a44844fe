#include "Platform/PerProcess.h"

#include <pthread.h>

namespace rqb {
namespace {

std::atomic<std::uint64_t> g_fork_generation{0};

// Runs in the child of every fork(2), on its only thread.
void CountFork() { g_fork_generation.fetch_add(1, std::memory_order_relaxed); }

}  // namespace

std::uint64_t ForkGeneration() {
  // Registered before the first State exists, so every fork that could copy
  // one is counted.
  [[maybe_unused]] static const bool counting = pthread_atfork(nullptr, nullptr, &CountFork) == 0;
  return g_fork_generation.load(std::memory_order_acquire);
}

}  // namespace rqb
