#include "DataHelpers/RQBWifiDataHelper.h"

#include "RQBehavior/RQBConstants.h"
#include "Utils/Converter/RQBConverterUtil.h"
#include "Utils/Network/RQBNetworkUtil.h"

std::optional<std::string> RQBWifiDataHelper::getKey() { return RQBVARConnectedViaWifi; }

std::optional<std::string> RQBWifiDataHelper::getValue() {
  return RQBConverterUtil::booleanToString(RQBNetworkUtil::connectedViaWiFi());
}
