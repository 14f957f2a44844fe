#include "DataHelpers/RQBJailBreakDataHelper.h"

#include <array>

#include "Constants/RQBConstantTexts.h"
#include "Platform/ApplicationServices.h"
#include "Platform/FileSystem.h"
#include "Platform/Platform.h"

namespace {

// What a jailbroken device carries: the Cydia package manager, the
// MobileSubstrate tweak runtime, a shell, an SSH server, the APT
// configuration and an SSH client. Probed in this order.
constexpr std::array<const char*, 6> kJailbreakPaths = {
    "/Applications/Cydia.app",
    "/Library/MobileSubstrate/MobileSubstrate.dylib",
    "/bin/bash",
    "/usr/sbin/sshd",
    "/etc/apt",
    "/usr/bin/ssh",
};

constexpr const char* kCydiaProbeUrl = "cydia://package/com.example.package";

}  // namespace

std::optional<std::string> RQBJailBreakingDataHelper::getKey() {
  return rqb::text::RQBVARJailBroken;
}

std::optional<std::string> RQBJailBreakingDataHelper::getValue() {
  const rqb::Platform& platform = rqb::CurrentPlatform();
  for (const char* path : kJailbreakPaths) {
    if (platform.file_system->Exists(path)) return "true";
  }
  return platform.application->CanOpenUrl(kCydiaProbeUrl) ? "true" : "false";
}
