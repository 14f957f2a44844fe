#include "DataHelpers/RQBDeviceModelDataHelper.h"

#include <cstring>
#include <memory>

#include "Constants/RQBConstantTexts.h"
#include "Platform/Device.h"
#include "Platform/Platform.h"
#include "Utils/Text/Utf8.h"

std::optional<std::string> RQBDeviceModelDataHelper::getKey() {
  return rqb::text::RQBVARDeviceModel;
}

std::optional<std::string> RQBDeviceModelDataHelper::getValue() {
  // The answer of the query is not examined: a failed query leaves the
  // buffer as it was, so it starts zeroed and is read no further than its
  // 100 bytes, with or without a terminator.
  constexpr std::size_t kBufferSize = 100;
  const auto buffer = std::make_unique<char[]>(kBufferSize);  // all zero
  std::size_t length = kBufferSize;
  rqb::CurrentPlatform().device->QueryMachineName(buffer.get(), &length);
  return rqb::TextOrNil(std::string(buffer.get(), strnlen(buffer.get(), kBufferSize)));
}
