#include "Platform/linux/LinuxRandomSource.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/random.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <random>

namespace rqb {
namespace {

// Set once getrandom(2) has answered that it is not there for us.
std::atomic<bool> g_getrandom_missing{false};

// Fills `bytes` from getrandom(2); returns how many it filled.
std::size_t FillFromGetrandom(std::span<std::uint8_t> bytes) {
  if (g_getrandom_missing.load(std::memory_order_relaxed)) return 0;
  std::size_t filled = 0;
  while (filled < bytes.size()) {
    const ssize_t n = getrandom(bytes.data() + filled, bytes.size() - filled, 0);
    if (n < 0) {
      if (errno == EINTR) continue;
      if (errno == ENOSYS || errno == EPERM) g_getrandom_missing.store(true);
      break;
    }
    filled += static_cast<std::size_t>(n);
  }
  return filled;
}

std::size_t FillFromUrandom(std::span<std::uint8_t> bytes) {
  const int fd = open("/dev/urandom", O_RDONLY | O_CLOEXEC);
  if (fd < 0) return 0;
  std::size_t filled = 0;
  while (filled < bytes.size()) {
    const ssize_t n = read(fd, bytes.data() + filled, bytes.size() - filled);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    filled += static_cast<std::size_t>(n);
  }
  close(fd);
  return filled;
}

std::uint64_t SplitMix64(std::uint64_t& state) {
  std::uint64_t z = (state += 0x9E3779B97F4A7C15ull);
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
  return z ^ (z >> 31);
}

std::uint64_t Nanoseconds(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000u +
         static_cast<std::uint64_t>(now.tv_nsec);
}

std::uint64_t HardwareRandom() {
  try {
    std::random_device device("hw");
    return (static_cast<std::uint64_t>(device()) << 32) ^ device();
  } catch (...) {
    return 0;  // no such instruction on this processor
  }
}

}  // namespace

void FillLastResort(std::span<std::uint8_t> bytes) {
  static std::atomic<std::uint64_t> calls{0};
  const std::uint64_t inputs[] = {
      HardwareRandom(),
      Nanoseconds(CLOCK_REALTIME),
      Nanoseconds(CLOCK_MONOTONIC),
      static_cast<std::uint64_t>(getpid()),
      static_cast<std::uint64_t>(syscall(SYS_gettid)),
      reinterpret_cast<std::uintptr_t>(&bytes),  // where the stack lies, randomised per process
      calls.fetch_add(1, std::memory_order_relaxed),
  };
  std::uint64_t state = 0;
  for (const std::uint64_t input : inputs) {
    state ^= input;
    state = SplitMix64(state);
  }
  for (std::size_t offset = 0; offset < bytes.size(); offset += sizeof(std::uint64_t)) {
    const std::uint64_t word = SplitMix64(state);
    std::memcpy(bytes.data() + offset, &word, std::min(sizeof word, bytes.size() - offset));
  }
}

void LinuxRandomSource::Fill(std::span<std::uint8_t> bytes) {
  std::size_t filled = FillFromGetrandom(bytes);
  if (filled < bytes.size()) filled += FillFromUrandom(bytes.subspan(filled));
  if (filled < bytes.size()) FillLastResort(bytes.subspan(filled));
}

}  // namespace rqb
