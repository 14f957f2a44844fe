#include "Platform/Uuid.h"

#include "Platform/Platform.h"
#include "Platform/RandomSource.h"

namespace rqb {

std::string FormatUuidV4(std::array<std::uint8_t, 16> random) {
  random[6] = static_cast<std::uint8_t>((random[6] & 0x0F) | 0x40);  // version 4
  random[8] = static_cast<std::uint8_t>((random[8] & 0x3F) | 0x80);  // RFC 4122 variant
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string text;
  text.reserve(36);
  for (std::size_t i = 0; i < random.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    text += kHex[random[i] >> 4];
    text += kHex[random[i] & 0xF];
  }
  return text;
}

std::string RandomSource::NewUuidString() {
  std::array<std::uint8_t, 16> random;
  Fill(random);
  return FormatUuidV4(random);
}

std::string NewUuidString() { return CurrentPlatform().random->NewUuidString(); }

}  // namespace rqb
