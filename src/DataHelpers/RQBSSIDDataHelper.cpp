#include "DataHelpers/RQBSSIDDataHelper.h"

#include "Constants/RQBConstantTexts.h"
#include "Platform/CaptiveNetwork.h"
#include "Platform/Platform.h"

std::optional<std::string> RQBSSIDDataHelper::getKey() { return rqb::text::RQBVARSSID; }

std::optional<std::string> RQBSSIDDataHelper::getValue() {
  rqb::CaptiveNetwork& captive_network = *rqb::CurrentPlatform().captive_network;
  const std::optional<std::vector<std::string>> interfaces =
      captive_network.CopySupportedInterfaces();
  if (!interfaces || interfaces->empty()) return "";

  // The first interface with a non-empty dictionary wins; otherwise the last
  // one asked decides, with or without a dictionary.
  std::optional<rqb::NetworkInfo> info;
  for (const std::string& interface_name : *interfaces) {
    info = captive_network.CopyCurrentNetworkInfo(interface_name);
    if (info && !info->empty()) break;
  }
  if (!info) return "";

  // The literal text, not the system's own entry name "SSID": a dictionary
  // from the system holds no such entry, so the value is normally absent.
  const auto ssid = info->find("kCNNetworkInfoKeySSID");
  if (ssid == info->end()) return std::nullopt;
  return ssid->second;
}
