// Random bytes from the kernel's CSPRNG.
#pragma once

#include "Platform/RandomSource.h"

namespace rqb {

class LinuxRandomSource final : public RandomSource {
 public:
  void Fill(std::span<std::uint8_t> bytes) override;
};

}  // namespace rqb
