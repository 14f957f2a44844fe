// The envelope a device uploads: {"Variables": {key: string...}, "SessionID":
// string, "App": string}. Checked here before anything is decoded or stored.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace rqbservice {

// Why a body was refused. The name is the metrics label and the error's
// "reason"; every rejection is answered with a 4xx and stores nothing.
enum class Rejection {
  kContentType,  // 415: not application/json
  kTooLarge,     // 413: over kMaxBodyBytes
  kInvalidUtf8,  // 400
  kTooDeep,      // 400: nesting beyond kMaxNesting
  kNotJson,      // 400: does not parse
  kBadEnvelope,  // 400: parses, but not the three members with their types
  kTooManyKeys,  // 400: more than kMaxVariables profile keys
};

inline constexpr std::size_t kMaxBodyBytes = 64 * 1024;
// The envelope itself is two levels deep; values never nest.
inline constexpr std::size_t kMaxNesting = 8;
// A device sends 27 keys; room for later versions of the library.
inline constexpr std::size_t kMaxVariables = 256;
inline constexpr std::size_t kMaxIdentifierBytes = 1024;

std::string_view RejectionName(Rejection rejection);
int RejectionStatus(Rejection rejection);
std::string_view RejectionMessage(Rejection rejection);

struct Envelope {
  std::string app;
  std::string session_id;
  // Sorted by key.
  std::vector<std::pair<std::string, std::string>> variables;
};

// True for "application/json", with or without parameters; a charset, when
// given, must be UTF-8.
bool IsJsonContentType(std::string_view content_type);

// Checks `body` (size, UTF-8, nesting, JSON, envelope shape) and returns its
// envelope or the first reason to refuse it.
std::variant<Envelope, Rejection> ReadEnvelope(std::string_view body);

}  // namespace rqbservice
