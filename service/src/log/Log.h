// The service's log: one JSON object per line on stderr, so that values a
// client chose (an app name, a session identifier) cannot forge lines.
// Bodies and the token are never logged.
#pragma once

#include <nlohmann/json.hpp>

namespace rqbservice {

// Writes `fields` with "time" added, as one line. Thread-safe.
void LogEvent(nlohmann::json fields);

}  // namespace rqbservice
