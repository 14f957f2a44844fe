// The JSON text of the device profile, byte for byte as the mobile platform's
// serialiser writes it with its pretty-printing option, so that receivers see
// the same document from every device.
#pragma once

#include <optional>
#include <string>

#include "Utils/Json/JsonObject.h"

namespace rqb {

// Serialises `object` with two-space indentation, " : " between key and
// value, "/" escaped as "\/", control characters escaped, everything else
// written raw in UTF-8, an empty object as "{\n\n}", and no trailing newline.
// Returns nothing when a key or text is not well-formed UTF-8.
std::optional<std::string> WritePrettyJson(const JsonObject& object);

}  // namespace rqb
