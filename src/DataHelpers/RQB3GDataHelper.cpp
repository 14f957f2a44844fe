#include "DataHelpers/RQB3GDataHelper.h"

#include "Constants/RQBConstantTexts.h"
#include "Utils/Converter/RQBConverterUtil.h"
#include "Utils/Network/RQBNetworkUtil.h"

std::optional<std::string> RQB3GDataHelper::getKey() { return rqb::text::RQBVARConnectedVia3G; }

std::optional<std::string> RQB3GDataHelper::getValue() {
  return RQBConverterUtil::booleanToString(RQBNetworkUtil::connectedVia3G());
}
