// Wi-Fi and telephony on Linux: sysfs folders, nl80211 replies and modems.
#include <gtest/gtest.h>
#include <linux/genetlink.h>
#include <linux/netlink.h>
#include <linux/nl80211.h>

#include <cstring>
#include <filesystem>
#include <fstream>

#include "Platform/linux/LinuxCaptiveNetwork.h"
#include "Platform/linux/LinuxTelephony.h"

namespace rqb {
namespace {

// Netlink attributes laid out as the kernel lays them out: header, payload,
// padding to four bytes.
class Attributes {
 public:
  Attributes& Add(std::uint16_t type, std::string_view payload) {
    nlattr header{static_cast<std::uint16_t>(NLA_HDRLEN + payload.size()), type};
    bytes_.append(reinterpret_cast<const char*>(&header), sizeof header);
    bytes_.append(payload);
    bytes_.resize(NLA_ALIGN(bytes_.size()), '\0');
    return *this;
  }
  Attributes& AddU32(std::uint16_t type, std::uint32_t value) {
    return Add(type, std::string_view(reinterpret_cast<const char*>(&value), sizeof value));
  }
  Attributes& Nest(std::uint16_t type, const Attributes& nested) {
    return Add(type | NLA_F_NESTED, nested.bytes_);
  }
  const std::string& bytes() const { return bytes_; }

 private:
  std::string bytes_;
};

// One generic netlink message with `attributes`, appended to `reply`.
void AppendGenericMessage(std::vector<std::uint8_t>& reply, std::uint16_t type,
                          std::uint8_t command, const Attributes& attributes) {
  nlmsghdr header{};
  header.nlmsg_len =
      static_cast<std::uint32_t>(NLMSG_HDRLEN + GENL_HDRLEN + attributes.bytes().size());
  header.nlmsg_type = type;
  header.nlmsg_flags = NLM_F_MULTI;
  genlmsghdr generic{command, 1, 0};
  const auto* h = reinterpret_cast<const std::uint8_t*>(&header);
  const auto* g = reinterpret_cast<const std::uint8_t*>(&generic);
  reply.insert(reply.end(), h, h + sizeof header);
  reply.insert(reply.end(), g, g + sizeof generic);
  reply.insert(reply.end(), attributes.bytes().begin(), attributes.bytes().end());
}

constexpr std::uint16_t kNl80211 = 0x1c;  // a family id the controller may hand out

TEST(LinuxCaptiveNetwork, ListsTheWirelessInterfacesOfSysfsByName) {
  const std::filesystem::path class_net = std::filesystem::path(::testing::TempDir()) / "class-net";
  std::filesystem::remove_all(class_net);
  for (const char* interface : {"wlp2s0/phy80211", "eth0/statistics", "wlan0/wireless", "lo"}) {
    std::filesystem::create_directories(class_net / interface);
  }
  EXPECT_EQ(WirelessInterfacesIn(class_net), (std::vector<std::string>{"wlan0", "wlp2s0"}));
  std::filesystem::remove_all(class_net / "wlan0");
  std::filesystem::remove_all(class_net / "wlp2s0");
  EXPECT_EQ(WirelessInterfacesIn(class_net), std::vector<std::string>{});
  EXPECT_EQ(WirelessInterfacesIn(class_net / "missing"), std::nullopt);
}

TEST(LinuxCaptiveNetwork, ReadsTheFamilyTheSsidAndTheAssociatedAccessPointFromReplies) {
  std::vector<std::uint8_t> family;
  AppendGenericMessage(family, GENL_ID_CTRL, CTRL_CMD_NEWFAMILY,
                       Attributes()
                           .Add(CTRL_ATTR_FAMILY_NAME, std::string_view("nl80211", 8))
                           .Add(CTRL_ATTR_FAMILY_ID, std::string_view("\x1c\x00", 2)));
  EXPECT_EQ(GenericFamilyIdOf(family), kNl80211);

  std::vector<std::uint8_t> joined;
  AppendGenericMessage(joined, kNl80211, NL80211_CMD_NEW_INTERFACE,
                       Attributes()
                           .AddU32(NL80211_ATTR_IFINDEX, 3)
                           .Add(NL80211_ATTR_IFNAME, std::string_view("wlan0", 6))
                           .Add(NL80211_ATTR_SSID, "Caf\xc3\xa9 \"Home\""));
  EXPECT_EQ(SsidOf(joined), "Caf\xc3\xa9 \"Home\"");

  std::vector<std::uint8_t> not_joined;
  AppendGenericMessage(not_joined, kNl80211, NL80211_CMD_NEW_INTERFACE,
                       Attributes().AddU32(NL80211_ATTR_IFINDEX, 3));
  EXPECT_EQ(SsidOf(not_joined), std::nullopt);

  // A scan dump: a neighbour first, then the access point in use.
  std::vector<std::uint8_t> scan;
  AppendGenericMessage(
      scan, kNl80211, NL80211_CMD_NEW_SCAN_RESULTS,
      Attributes().Nest(NL80211_ATTR_BSS,
                        Attributes().Add(NL80211_BSS_BSSID, "\x02\x11\x22\x33\x44\x55")));
  AppendGenericMessage(
      scan, kNl80211, NL80211_CMD_NEW_SCAN_RESULTS,
      Attributes().Nest(NL80211_ATTR_BSS,
                        Attributes()
                            .Add(NL80211_BSS_BSSID, std::string_view("\xa0\x0b\xc2\xd3\xe4\x0f", 6))
                            .AddU32(NL80211_BSS_STATUS, NL80211_BSS_STATUS_ASSOCIATED)));
  EXPECT_EQ(AssociatedBssidOf(scan), "a0:0b:c2:d3:e4:0f");
  EXPECT_EQ(AssociatedBssidOf(std::span(scan).first(scan.size() / 2)), std::nullopt);
}

TEST(LinuxCaptiveNetwork, KeysTheNetworkWithThePlatformsOwnEntryNames) {
  EXPECT_EQ(MakeNetworkInfo("Home", "a0:0b:c2:d3:e4:0f"),
            (NetworkInfo{{"BSSID", "a0:0b:c2:d3:e4:0f"}, {"SSID", "Home"}, {"SSIDDATA", "Home"}}));
  // Bytes that are no text stay in SSIDDATA only.
  EXPECT_EQ(MakeNetworkInfo("\xff\xfe", std::nullopt), (NetworkInfo{{"SSIDDATA", "\xff\xfe"}}));
}

TEST(LinuxTelephony, NamesEachModemsCarrierAfterItsSimThenItsNetwork) {
  const std::vector<ModemFacts> modems = {
      {"/org/freedesktop/ModemManager1/Modem/3", "Alpha", "Alpha Roaming"},
      {"/org/freedesktop/ModemManager1/Modem/1", std::nullopt, "Beta"},
      {"/org/freedesktop/ModemManager1/Modem/2", "", ""},
  };
  const CarrierDictionary carriers = CarriersOfModems(modems);
  ASSERT_EQ(carriers.size(), 3u);
  EXPECT_EQ(carriers[0].first, "/org/freedesktop/ModemManager1/Modem/3") << "the service's order";
  EXPECT_EQ(carriers[0].second.carrier_name, "Alpha");
  EXPECT_EQ(carriers[1].second.carrier_name, "Beta");
  EXPECT_EQ(carriers[2].second.carrier_name, std::nullopt);
  for (const auto& [path, carrier] : carriers) EXPECT_FALSE(carrier.allows_voip) << path;
  EXPECT_TRUE(CarriersOfModems({}).empty());
}

}  // namespace
}  // namespace rqb
