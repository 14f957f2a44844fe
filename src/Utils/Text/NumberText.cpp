#include "Utils/Text/NumberText.h"

#include <array>
#include <charconv>
#include <locale>
#include <sstream>

namespace rqb {

std::string DoubleDescription(double value) {
#if defined(__cpp_lib_to_chars)
  // to_chars formats as printf does in the C locale, so a host that switched
  // LC_NUMERIC to a decimal comma cannot change the profile.
  std::array<char, 32> buffer;
  const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                    std::chars_format::general, 16);
  return std::string(buffer.data(), result.ptr);
#else
  return DoubleDescriptionThroughStream(value);
#endif
}

std::string DoubleDescriptionThroughStream(double value) {
  // A stream takes the global locale when it is made; the classic one keeps
  // the decimal point whatever the host has set.
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text.precision(16);  // general notation, as "%.16g"
  text << value;
  return text.str();
}

}  // namespace rqb
