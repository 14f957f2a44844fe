#include <map>

#include "profile/FragmentDecoders.h"

namespace rqbservice {

std::optional<nlohmann::json> DecodeBattery(std::string_view text) {
  // The one fragment that is strict JSON: the state is a fixed code and the
  // level a "%f" number.
  const nlohmann::json battery = nlohmann::json::parse(text, nullptr, false);
  if (!battery.is_object() || battery.size() != 2) return std::nullopt;
  const auto state = battery.find("s");
  const auto level = battery.find("l");
  if (state == battery.end() || level == battery.end() || !state->is_string() ||
      !level->is_number()) {
    return std::nullopt;
  }
  static const std::map<std::string, std::string> kStates = {
      {"u", "unplugged"}, {"f", "full"}, {"c", "charging"}, {"unknown", "unknown"}};
  const auto named = kStates.find(state->get<std::string>());
  if (named == kStates.end()) return std::nullopt;
  const double percent = level->get<double>();
  return nlohmann::json{{"state", named->second},
                        {"level", percent == -100.0 ? nlohmann::json() : nlohmann::json(percent)}};
}

}  // namespace rqbservice
