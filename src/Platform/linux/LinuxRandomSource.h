// Random bytes on Linux.
#pragma once

#include <cstdint>
#include <span>

#include "Platform/RandomSource.h"

namespace rqb {

// The kernel's CSPRNG through getrandom(2); through /dev/urandom where
// getrandom is missing (old kernels, and sandboxes whose seccomp filters
// predate it and answer ENOSYS or EPERM); and when neither can be reached,
// FillLastResort(). Never fails, never aborts.
class LinuxRandomSource final : public RandomSource {
 public:
  void Fill(std::span<std::uint8_t> bytes) override;
};

// Bytes for when the kernel's generator cannot be reached at all: the
// processor's random number generator when it has one, mixed with clocks,
// process and thread identifiers, an address and a counter, so that no two
// calls in any process give the same bytes. Less unpredictable than the
// kernel's generator, and only used in its absence.
void FillLastResort(std::span<std::uint8_t> bytes);

}  // namespace rqb
