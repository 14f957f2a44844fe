#include "Utils/Text/NumberText.h"

#include <array>
#include <charconv>

namespace rqb {

std::string DoubleDescription(double value) {
  // to_chars formats as printf does in the C locale, so a host that switched
  // LC_NUMERIC to a decimal comma cannot change the profile.
  std::array<char, 32> buffer;
  const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                    std::chars_format::general, 16);
  return std::string(buffer.data(), result.ptr);
}

}  // namespace rqb
