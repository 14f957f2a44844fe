// Wi-Fi and telephony on Linux: sysfs folders, nl80211 replies and modems.
#include <gtest/gtest.h>
#include <linux/genetlink.h>
#include <linux/netlink.h>
#include <linux/nl80211.h>

#include <filesystem>

#include "Platform/linux/LinuxCaptiveNetwork.h"
#include "Platform/linux/LinuxTelephony.h"

namespace rqb {
namespace {

template <typename T>
std::string BytesOf(const T& value) {
  return std::string(reinterpret_cast<const char*>(&value), sizeof value);
}

// An nl80211 interface reply as the kernel lays it out: netlink and generic
// headers, then each attribute's header and payload, padded to four bytes.
std::vector<std::uint8_t> InterfaceReply(
    const std::vector<std::pair<std::uint16_t, std::string>>& attributes) {
  std::string bytes = BytesOf(genlmsghdr{NL80211_CMD_NEW_INTERFACE, 1, 0});
  for (const auto& [type, payload] : attributes) {
    bytes += BytesOf(nlattr{static_cast<std::uint16_t>(NLA_HDRLEN + payload.size()), type});
    bytes += payload;
    bytes.resize(NLA_ALIGN(bytes.size()), '\0');
  }
  const auto length = static_cast<std::uint32_t>(NLMSG_HDRLEN + bytes.size());
  bytes = BytesOf(nlmsghdr{length, 0x1c, 0, 0, 0}) + bytes;  // 0x1c: nl80211's family id
  return std::vector<std::uint8_t>(bytes.begin(), bytes.end());
}

TEST(LinuxCaptiveNetwork, ListsTheWirelessInterfacesOfSysfsByName) {
  const std::filesystem::path class_net = std::filesystem::path(::testing::TempDir()) / "class-net";
  std::filesystem::remove_all(class_net);
  for (const char* interface : {"wlp2s0/phy80211", "eth0/statistics", "wlan0/wireless", "lo"}) {
    std::filesystem::create_directories(class_net / interface);
  }
  EXPECT_EQ(WirelessInterfacesIn(class_net), (std::vector<std::string>{"wlan0", "wlp2s0"}));
}

TEST(LinuxCaptiveNetwork, ReadsTheJoinedNetworkAndKeysItWithThePlatformsOwnEntryNames) {
  const std::pair<std::uint16_t, std::string> ifindex{NL80211_ATTR_IFINDEX, BytesOf(3u)};
  EXPECT_EQ(SsidOf(InterfaceReply({ifindex, {NL80211_ATTR_SSID, "Caf\xc3\xa9 \"Home\""}})),
            "Caf\xc3\xa9 \"Home\"");
  EXPECT_EQ(SsidOf(InterfaceReply({ifindex})), std::nullopt) << "joined to no network";
  // Under the system's own entry names, which the SSID collector never asks for.
  EXPECT_EQ(MakeNetworkInfo("Home", "a0:0b:c2:d3:e4:0f"),
            (NetworkInfo{{"BSSID", "a0:0b:c2:d3:e4:0f"}, {"SSID", "Home"}, {"SSIDDATA", "Home"}}));
}

TEST(LinuxTelephony, NamesEachModemsCarrierAfterItsSimThenItsNetworkInTheServicesOrder) {
  const CarrierDictionary carriers = CarriersOfModems({{"/Modem/3", "Alpha", "Alpha Roaming"},
                                                       {"/Modem/1", std::nullopt, "Beta"},
                                                       {"/Modem/2", "", ""}});
  std::vector<std::pair<std::string, std::optional<std::string>>> names;
  for (const auto& [path, carrier] : carriers) {
    names.emplace_back(path, carrier.carrier_name);
    EXPECT_FALSE(carrier.allows_voip) << path;
  }
  EXPECT_EQ(names, (decltype(names){
                       {"/Modem/3", "Alpha"}, {"/Modem/1", "Beta"}, {"/Modem/2", std::nullopt}}));
}

}  // namespace
}  // namespace rqb
