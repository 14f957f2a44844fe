#include "Platform/OperatingSystem.h"

#include <cctype>
#include <tuple>

#include "Platform/Platform.h"

namespace rqb {

OperatingSystemVersion ParseOperatingSystemVersion(std::string_view text) {
  long parts[3] = {0, 0, 0};
  std::size_t i = 0;
  for (long& part : parts) {
    if (i >= text.size() || !std::isdigit(static_cast<unsigned char>(text[i]))) break;
    for (; i < text.size() && std::isdigit(static_cast<unsigned char>(text[i])); ++i) {
      if (part < 100'000'000) part = part * 10 + (text[i] - '0');
    }
    if (i >= text.size() || text[i] != '.') break;
    ++i;
  }
  return {parts[0], parts[1], parts[2]};
}

bool IsOperatingSystemAtLeastVersion(const OperatingSystemVersion& required) {
  const OperatingSystemVersion running = CurrentPlatform().operating_system->Version();
  return std::tie(running.major, running.minor, running.patch) >=
         std::tie(required.major, required.minor, required.patch);
}

}  // namespace rqb
