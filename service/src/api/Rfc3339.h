// Times as the API writes and reads them: RFC 3339.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace rqbservice {

std::int64_t NowMicroseconds();

// "2026-03-01T12:00:00.123456Z": UTC, microseconds.
std::string FormatRfc3339(std::int64_t microseconds_since_epoch);

// "2026-03-01T12:00:00Z", "2026-03-01T09:00:00.5-03:00" and the like, as
// microseconds since the epoch; nothing when the text is not RFC 3339.
std::optional<std::int64_t> ParseRfc3339(std::string_view text);

}  // namespace rqbservice
