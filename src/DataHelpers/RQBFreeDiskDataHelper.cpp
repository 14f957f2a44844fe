#include "DataHelpers/RQBFreeDiskDataHelper.h"

#include <cstdint>

#include "Constants/RQBConstantTexts.h"
#include "Platform/FileSystem.h"
#include "Platform/Platform.h"

std::optional<std::string> RQBFreeDiskDataHelper::getKey() {
  return rqb::text::RQBVARFreeDiskSpace;
}

std::optional<std::string> RQBFreeDiskDataHelper::getValue() {
  const rqb::FileSystem& file_system = *rqb::CurrentPlatform().file_system;
  std::optional<std::uint64_t> free_bytes;
  if (const std::optional<std::string> documents = file_system.DocumentsDirectory()) {
    free_bytes = file_system.FreeBytes(*documents);
  }
  return std::to_string(free_bytes.value_or(0));
}
