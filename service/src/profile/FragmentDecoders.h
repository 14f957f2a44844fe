// Decoders of the profile values that are small texts shaped like JSON. The
// device builds them by string formatting without escaping, so most are not
// strict JSON and are read here by their exact shape. Each returns the typed
// value, or nothing when the text does not have the shape (the caller then
// keeps the text and flags the key).
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace rqbservice {

// `{ "s": "c", "l": 50.000000 }` -> {"state": "charging", "level": 50.0}.
// States u, f, c and unknown; a level of -100 (the device could not tell)
// becomes null.
std::optional<nlohmann::json> DecodeBattery(std::string_view text);

// `{}` (no location) -> null; `{ "lat": ..., "lot": ..., "alt": ..., "ts":
// <bare date>, "hac": ..., "vac": ..., "c": ..., "s": ...[, "fl": n] }` ->
// an object with named fields. Numbers may read nan, inf or -inf (null in
// the result, as JSON has no such numbers).
std::optional<nlohmann::json> DecodeLocation(std::string_view text);

// The location's date, `YYYY-MM-dd'T'HH:mm:ss±hhmm`, as RFC 3339, or nothing
// where its year cannot be known (see the definition).
std::optional<std::string> LocationTimestampToRfc3339(std::string_view text);

// `["a","b"]` or `[]`, the elements unescaped (they may hold quotes and
// commas): the element texts in order.
std::optional<std::vector<std::string>> DecodeQuotedList(std::string_view text);

// `{}` or `{ "Alpha": true, "Beta": false }`, names unescaped, repeated names
// kept: [{"carrier": "Alpha", "allowsVoip": true}, ...] in the order sent.
// The name "(null)" (a carrier without a name) becomes null.
std::optional<nlohmann::json> DecodeVoipPolicy(std::string_view text);

}  // namespace rqbservice
