// The Wi-Fi interfaces and the network each is joined to.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace rqb {

// What the system tells about the network on one interface, under the
// mobile platform's own entry names: "SSID" (the name as text), "BSSID" (the
// access point's hardware address) and "SSIDDATA" (the name's raw bytes).
using NetworkInfo = std::map<std::string, std::string, std::less<>>;

class CaptiveNetwork {
 public:
  CaptiveNetwork() = default;
  CaptiveNetwork(const CaptiveNetwork&) = delete;
  CaptiveNetwork& operator=(const CaptiveNetwork&) = delete;
  virtual ~CaptiveNetwork() = default;

  // Names of the interfaces that can join Wi-Fi networks, in the system's
  // order; nothing when the system cannot tell. Any thread.
  virtual std::optional<std::vector<std::string>> CopySupportedInterfaces() = 0;

  // The network that `interface_name` is joined to, or nothing when it is
  // joined to none or the system cannot tell. Any thread; never blocks for
  // long.
  virtual std::optional<NetworkInfo> CopyCurrentNetworkInfo(std::string_view interface_name) = 0;
};

}  // namespace rqb
