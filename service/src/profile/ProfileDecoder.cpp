#include "profile/ProfileDecoder.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string_view>

#include "profile/FragmentDecoders.h"

namespace rqbservice {
namespace {

using Decoder = std::function<std::optional<nlohmann::json>(std::string_view)>;

// Text the device passes on as the platform gave it; "" when it gave none.
std::optional<nlohmann::json> DecodeText(std::string_view text) {
  return text.empty() ? nlohmann::json() : nlohmann::json(text);
}

std::optional<nlohmann::json> DecodeBoolean(std::string_view text) {
  if (text == "true") return true;
  if (text == "false") return false;
  return std::nullopt;
}

// Newer systems no longer tell, and send "unknown".
std::optional<nlohmann::json> DecodeBooleanOrUnknown(std::string_view text) {
  if (text == "unknown") return nlohmann::json();
  return DecodeBoolean(text);
}

std::optional<nlohmann::json> DecodeByteCount(std::string_view text) {
  std::uint64_t bytes = 0;
  if (text.empty() || text.front() == '+' || text.front() == '-') return std::nullopt;
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), bytes);
  if (error != std::errc() || stop != text.data() + text.size()) return std::nullopt;
  return bytes;
}

std::optional<nlohmann::json> DecodeKeyboards(std::string_view text) {
  const auto keyboards = DecodeQuotedList(text);
  if (!keyboards) return std::nullopt;
  return *keyboards;
}

// No carrier information at all is "", unlike an empty list.
std::optional<nlohmann::json> DecodeCarriers(std::string_view text) {
  if (text.empty()) return nlohmann::json();
  const auto names = DecodeQuotedList(text);
  if (!names) return std::nullopt;
  nlohmann::json carriers = nlohmann::json::array();
  for (const std::string& name : *names) {
    carriers.push_back(name == "(null)" ? nlohmann::json() : nlohmann::json(name));
  }
  return carriers;
}

const std::map<std::string_view, Decoder>& DecodersByKey() {
  static const auto* decoders = new std::map<std::string_view, Decoder>{
      {"Platform", DecodeText},
      {"SDKVersion", DecodeText},
      {"SystemVersion", DecodeText},
      {"OSVersion", DecodeText},
      {"SystemName", DecodeText},
      {"DeviceModel", DecodeText},
      {"DeviceName", DecodeText},
      {"LanguageCode", DecodeText},
      {"SSID", DecodeText},
      {"AdvertisingId", DecodeText},
      {"VisitorIdentifierForVendor", DecodeText},
      {"DeviceGeneratedId", DecodeText},
      {"ConnectedViaWifi", DecodeBoolean},
      {"ConnectedVia3G", DecodeBoolean},
      {"ClosedCaptioningEnabled", DecodeBoolean},
      {"InvertColorsEnabled", DecodeBoolean},
      {"MonoAudioEnabled", DecodeBoolean},
      {"VoiceOverRunning", DecodeBoolean},
      {"PaymentsAllowed", DecodeBoolean},
      {"LocaleEqualsLanguage", DecodeBoolean},
      {"JailBroken", DecodeBoolean},
      {"GuidedAccessEnabled", DecodeBooleanOrUnknown},
      {"FreeDiskSpace", DecodeByteCount},
      {"Battery", DecodeBattery},
      {"BatteryInfo", DecodeBattery},
      {"Location", DecodeLocation},
      {"Carrier", DecodeCarriers},
      {"CarrierAllowsVoip", DecodeVoipPolicy},
      {"InstalledKeyboards", DecodeKeyboards},
  };
  return *decoders;
}

}  // namespace

DecodedProfile DecodeProfile(const std::vector<std::pair<std::string, std::string>>& variables) {
  DecodedProfile decoded;
  const auto& decoders = DecodersByKey();
  for (const auto& [key, text] : variables) {
    const auto decoder = decoders.find(key);
    // Keys this service does not know are kept as text.
    if (decoder == decoders.end()) {
      decoded.profile[key] = text;
      continue;
    }
    auto value = decoder->second(text);
    if (value) {
      decoded.profile[key] = std::move(*value);
    } else {
      decoded.profile[key] = text;
      decoded.undecoded.push_back(key);
    }
  }
  std::sort(decoded.undecoded.begin(), decoded.undecoded.end());
  return decoded;
}

}  // namespace rqbservice
