// Wi-Fi on Linux: wireless interfaces from sysfs, the joined network from
// nl80211 over generic netlink (which any user may ask).
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "Platform/CaptiveNetwork.h"

namespace rqb {

// The interfaces under a sysfs class/net folder that are wireless (those
// with a "wireless" or "phy80211" entry), sorted by name; nothing when the
// folder cannot be read.
std::optional<std::vector<std::string>> WirelessInterfacesIn(
    const std::filesystem::path& class_net);

// The family id in a generic netlink controller's reply, if it holds one.
std::optional<std::uint16_t> GenericFamilyIdOf(std::span<const std::uint8_t> reply);

// The SSID bytes in an nl80211 interface reply; nothing when the interface
// is joined to no network.
std::optional<std::string> SsidOf(std::span<const std::uint8_t> interface_reply);

// The address of the access point the interface is associated with, among
// the BSSes of an nl80211 scan dump, as lower-case hexadecimal pairs joined
// by colons.
std::optional<std::string> AssociatedBssidOf(std::span<const std::uint8_t> scan_reply);

// The network's dictionary under the platform's entry names: "SSIDDATA" the
// raw bytes, "SSID" the text (when the bytes are valid UTF-8), "BSSID" when
// known.
NetworkInfo MakeNetworkInfo(const std::string& ssid, const std::optional<std::string>& bssid);

class LinuxCaptiveNetwork final : public CaptiveNetwork {
 public:
  std::optional<std::vector<std::string>> CopySupportedInterfaces() override;
  std::optional<NetworkInfo> CopyCurrentNetworkInfo(std::string_view interface_name) override;
};

}  // namespace rqb
