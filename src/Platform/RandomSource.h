// Cryptographically secure random bytes.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace rqb {

class RandomSource {
 public:
  RandomSource() = default;
  RandomSource(const RandomSource&) = delete;
  RandomSource& operator=(const RandomSource&) = delete;
  virtual ~RandomSource() = default;

  // Fills `bytes` from a CSPRNG. Called from any thread; never fails.
  virtual void Fill(std::span<std::uint8_t> bytes) = 0;

  // A new random version-4 UUID as canonical upper-case text. By default made
  // of Fill(); a system with a UUID maker of its own uses that instead.
  virtual std::string NewUuidString();
};

}  // namespace rqb
