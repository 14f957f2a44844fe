#include "DataHelpers/RQBWifiDataHelper.h"

#include "Constants/RQBConstantTexts.h"
#include "Utils/Converter/RQBConverterUtil.h"
#include "Utils/Network/RQBNetworkUtil.h"

std::optional<std::string> RQBWifiDataHelper::getKey() { return rqb::text::RQBVARConnectedViaWifi; }

std::optional<std::string> RQBWifiDataHelper::getValue() {
  return RQBConverterUtil::booleanToString(RQBNetworkUtil::connectedViaWiFi());
}
