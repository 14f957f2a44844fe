// Turns the profile's string values into typed values, key by key.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

namespace rqbservice {

struct DecodedProfile {
  // Every key sent, with its typed value: booleans, integers, objects and
  // lists for the fragments, text for plain values and unknown keys, null for
  // a value the device left empty or could not tell ("unknown"). A value that
  // does not decode stays the text as sent.
  nlohmann::json profile = nlohmann::json::object();
  // The keys whose values stayed text because they did not decode, sorted.
  std::vector<std::string> undecoded;
};

DecodedProfile DecodeProfile(const std::vector<std::pair<std::string, std::string>>& variables);

}  // namespace rqbservice
