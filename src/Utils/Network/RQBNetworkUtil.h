// Connection type and cellular carriers, for the network collectors.
#pragma once

#include <optional>

#include "Platform/Telephony.h"
#include "RQBehavior/RQBExport.h"

class RQB_EXPORT RQBNetworkUtil {
 public:
  RQBNetworkUtil() = delete;

  // Whether the route to the internet goes over a non-cellular link now.
  static bool connectedViaWiFi();
  // Whether the route to the internet goes over a cellular link now.
  static bool connectedVia3G();
  // The carriers of the cellular subscriptions; nothing on systems older
  // than 12.0 or where the system offers no telephony information.
  static std::optional<rqb::CarrierDictionary> getCarriers();
};
