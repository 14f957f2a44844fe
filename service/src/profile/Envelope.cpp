#include "profile/Envelope.h"

#include <algorithm>
#include <cctype>
#include <nlohmann/json.hpp>

#include "profile/Utf8.h"

namespace rqbservice {
namespace {

std::string Lower(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return lower;
}

std::string_view Trim(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

}  // namespace

std::string_view RejectionName(Rejection rejection) {
  switch (rejection) {
    case Rejection::kContentType:
      return "content_type";
    case Rejection::kTooLarge:
      return "too_large";
    case Rejection::kInvalidUtf8:
      return "invalid_utf8";
    case Rejection::kTooDeep:
      return "too_deep";
    case Rejection::kNotJson:
      return "not_json";
    case Rejection::kBadEnvelope:
      return "bad_envelope";
    case Rejection::kTooManyKeys:
      return "too_many_keys";
  }
  return "unknown";
}

int RejectionStatus(Rejection rejection) {
  switch (rejection) {
    case Rejection::kContentType:
      return 415;
    case Rejection::kTooLarge:
      return 413;
    default:
      return 400;
  }
}

std::string_view RejectionMessage(Rejection rejection) {
  switch (rejection) {
    case Rejection::kContentType:
      return "the body must be application/json in UTF-8";
    case Rejection::kTooLarge:
      return "the body is larger than 64 KiB";
    case Rejection::kInvalidUtf8:
      return "the body is not valid UTF-8";
    case Rejection::kTooDeep:
      return "the body is nested too deeply";
    case Rejection::kNotJson:
      return "the body is not JSON";
    case Rejection::kBadEnvelope:
      return "the body must hold \"Variables\" (an object of strings), \"SessionID\" and \"App\" "
             "(strings)";
    case Rejection::kTooManyKeys:
      return "the profile has too many keys";
  }
  return "refused";
}

bool IsJsonContentType(std::string_view content_type) {
  const std::size_t semicolon = content_type.find(';');
  if (Lower(Trim(content_type.substr(0, semicolon))) != "application/json") return false;
  std::string_view parameters =
      semicolon == std::string_view::npos ? "" : content_type.substr(semicolon + 1);
  while (!parameters.empty()) {
    const std::size_t end = parameters.find(';');
    const std::string parameter = Lower(Trim(parameters.substr(0, end)));
    if (parameter.starts_with("charset=")) {
      std::string charset = parameter.substr(8);
      charset.erase(std::remove(charset.begin(), charset.end(), '"'), charset.end());
      if (charset != "utf-8" && charset != "utf8") return false;
    }
    if (end == std::string_view::npos) break;
    parameters.remove_prefix(end + 1);
  }
  return true;
}

std::variant<Envelope, Rejection> ReadEnvelope(std::string_view body) {
  if (body.size() > kMaxBodyBytes) return Rejection::kTooLarge;
  if (!IsValidUtf8(body)) return Rejection::kInvalidUtf8;
  if (JsonNestingDepth(body, kMaxNesting) > kMaxNesting) return Rejection::kTooDeep;
  const nlohmann::json json = nlohmann::json::parse(body, nullptr, /*allow_exceptions=*/false);
  if (json.is_discarded()) return Rejection::kNotJson;
  if (!json.is_object() || json.size() != 3) return Rejection::kBadEnvelope;
  const auto variables = json.find("Variables");
  const auto session = json.find("SessionID");
  const auto app = json.find("App");
  if (variables == json.end() || session == json.end() || app == json.end() ||
      !variables->is_object() || !session->is_string() || !app->is_string()) {
    return Rejection::kBadEnvelope;
  }
  if (variables->size() > kMaxVariables) return Rejection::kTooManyKeys;

  Envelope envelope;
  envelope.session_id = session->get<std::string>();
  envelope.app = app->get<std::string>();
  if (envelope.session_id.empty() || envelope.session_id.size() > kMaxIdentifierBytes ||
      envelope.app.size() > kMaxIdentifierBytes) {
    return Rejection::kBadEnvelope;
  }
  envelope.variables.reserve(variables->size());
  for (const auto& [key, value] : variables->items()) {
    if (!value.is_string()) return Rejection::kBadEnvelope;
    envelope.variables.emplace_back(key, value.get<std::string>());
  }
  return envelope;
}

}  // namespace rqbservice
