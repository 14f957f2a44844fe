#include "log/Log.h"

#include <cstdio>
#include <mutex>

#include "api/Rfc3339.h"

namespace rqbservice {

void LogEvent(nlohmann::json fields) {
  fields["time"] = FormatRfc3339(NowMicroseconds());
  const std::string line =
      fields.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
  static std::mutex mutex;
  std::lock_guard lock(mutex);
  std::fwrite(line.data(), 1, line.size(), stderr);
  std::fflush(stderr);
}

}  // namespace rqbservice
