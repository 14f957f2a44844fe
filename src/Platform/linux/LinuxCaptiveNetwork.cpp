#include "Platform/linux/LinuxCaptiveNetwork.h"

#include <dirent.h>
#include <linux/genetlink.h>
#include <linux/netlink.h>
#include <linux/nl80211.h>
#include <net/if.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string_view>

#include "Platform/linux/Netlink.h"
#include "Utils/Text/Utf8.h"

namespace rqb {
namespace {

constexpr std::size_t kBssidLength = 6;

std::optional<std::string> AttributeText(const NetlinkAttribute& attribute) {
  return std::string(attribute.payload.begin(), attribute.payload.end());
}

}  // namespace

std::optional<std::vector<std::string>> WirelessInterfacesIn(
    const std::filesystem::path& class_net) {
  // Asked relative to the folder's descriptor, as every collection run asks.
  DIR* const folder = opendir(class_net.c_str());
  if (folder == nullptr) return std::nullopt;
  std::vector<std::string> names;
  std::string attribute;
  while (const dirent* entry = readdir(folder)) {
    const std::string_view name = entry->d_name;
    if (name == "." || name == "..") continue;
    for (const std::string_view marker : {"/wireless", "/phy80211"}) {
      attribute.assign(name).append(marker);
      if (faccessat(dirfd(folder), attribute.c_str(), F_OK, 0) == 0) {
        names.emplace_back(name);
        break;
      }
    }
  }
  closedir(folder);
  std::sort(names.begin(), names.end());
  return names;
}

std::optional<std::uint16_t> GenericFamilyIdOf(std::span<const std::uint8_t> reply) {
  for (const NetlinkMessage& message : SplitNetlinkMessages(reply)) {
    if (message.type != GENL_ID_CTRL) continue;
    for (const NetlinkAttribute& attribute : AttributesAfter(message, GENL_HDRLEN)) {
      if (attribute.type == CTRL_ATTR_FAMILY_ID) {
        return ReadNetlinkValue<std::uint16_t>(attribute.payload);
      }
    }
  }
  return std::nullopt;
}

std::optional<std::string> SsidOf(std::span<const std::uint8_t> interface_reply) {
  for (const NetlinkMessage& message : SplitNetlinkMessages(interface_reply)) {
    if (message.type < NLMSG_MIN_TYPE) continue;
    for (const NetlinkAttribute& attribute : AttributesAfter(message, GENL_HDRLEN)) {
      if (attribute.type == NL80211_ATTR_SSID) return AttributeText(attribute);
    }
  }
  return std::nullopt;
}

std::optional<std::string> AssociatedBssidOf(std::span<const std::uint8_t> scan_reply) {
  for (const NetlinkMessage& message : SplitNetlinkMessages(scan_reply)) {
    if (message.type < NLMSG_MIN_TYPE) continue;
    for (const NetlinkAttribute& attribute : AttributesAfter(message, GENL_HDRLEN)) {
      if (attribute.type != NL80211_ATTR_BSS) continue;
      std::optional<std::span<const std::uint8_t>> bssid;
      bool associated = false;
      for (const NetlinkAttribute& bss : SplitNetlinkAttributes(attribute.payload)) {
        if (bss.type == NL80211_BSS_BSSID && bss.payload.size() == kBssidLength) {
          bssid = bss.payload;
        } else if (bss.type == NL80211_BSS_STATUS) {
          associated = ReadNetlinkValue<std::uint32_t>(bss.payload) ==
                       static_cast<std::uint32_t>(NL80211_BSS_STATUS_ASSOCIATED);
        }
      }
      if (!associated || !bssid) continue;
      char text[3 * kBssidLength] = {};
      const auto& b = *bssid;
      std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", b[0], b[1], b[2], b[3],
                    b[4], b[5]);
      return std::string(text);
    }
  }
  return std::nullopt;
}

NetworkInfo MakeNetworkInfo(const std::string& ssid, const std::optional<std::string>& bssid) {
  NetworkInfo info;
  info["SSIDDATA"] = ssid;
  if (IsValidUtf8(ssid)) info["SSID"] = ssid;
  if (bssid) info["BSSID"] = *bssid;
  return info;
}

std::optional<std::vector<std::string>> LinuxCaptiveNetwork::CopySupportedInterfaces() {
  return WirelessInterfacesIn("/sys/class/net");
}

std::optional<NetworkInfo> LinuxCaptiveNetwork::CopyCurrentNetworkInfo(
    std::string_view interface_name) {
  const std::uint32_t index = if_nametoindex(std::string(interface_name).c_str());
  if (index == 0) return std::nullopt;
  std::optional<NetlinkSocket> socket = NetlinkSocket::Open(NETLINK_GENERIC);
  if (!socket) return std::nullopt;

  genlmsghdr control{};
  control.cmd = CTRL_CMD_GETFAMILY;
  control.version = 1;
  static constexpr char kFamily[] = NL80211_GENL_NAME;
  const auto family_reply =
      socket->Transact(NetlinkRequest(GENL_ID_CTRL, NLM_F_REQUEST)
                           .FamilyHeader(control)
                           .Attribute(CTRL_ATTR_FAMILY_NAME, kFamily, sizeof kFamily));
  const std::optional<std::uint16_t> family =
      family_reply ? GenericFamilyIdOf(*family_reply) : std::nullopt;
  if (!family) return std::nullopt;  // no wireless stack in this kernel

  genlmsghdr command{};
  command.cmd = NL80211_CMD_GET_INTERFACE;
  const auto interface_reply =
      socket->Transact(NetlinkRequest(*family, NLM_F_REQUEST)
                           .FamilyHeader(command)
                           .Attribute(NL80211_ATTR_IFINDEX, &index, sizeof index));
  const std::optional<std::string> ssid = interface_reply ? SsidOf(*interface_reply) : std::nullopt;
  if (!ssid) return std::nullopt;

  command.cmd = NL80211_CMD_GET_SCAN;
  const auto scan_reply =
      socket->Transact(NetlinkRequest(*family, NLM_F_REQUEST | NLM_F_DUMP)
                           .FamilyHeader(command)
                           .Attribute(NL80211_ATTR_IFINDEX, &index, sizeof index));
  return MakeNetworkInfo(*ssid, scan_reply ? AssociatedBssidOf(*scan_reply) : std::nullopt);
}

}  // namespace rqb
