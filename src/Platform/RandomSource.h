// Cryptographically secure random bytes.
#pragma once

#include <cstdint>
#include <span>

namespace rqb {

class RandomSource {
 public:
  RandomSource() = default;
  RandomSource(const RandomSource&) = delete;
  RandomSource& operator=(const RandomSource&) = delete;
  virtual ~RandomSource() = default;

  // Fills `bytes` from a CSPRNG. Called from any thread; never fails.
  virtual void Fill(std::span<std::uint8_t> bytes) = 0;
};

}  // namespace rqb
