#include "DataHelpers/RQBCarrierDataHelper.h"

#include <vector>

#include "Constants/RQBConstantTexts.h"
#include "Platform/OperatingSystem.h"
#include "Utils/Converter/RQBConverterUtil.h"
#include "Utils/Network/RQBNetworkUtil.h"

std::optional<std::string> RQBCarrierDataHelper::getKey() { return rqb::text::RQBVARCarrier; }

std::optional<std::string> RQBCarrierDataHelper::getValue() {
  std::vector<std::string> names;
  if (!rqb::IsOperatingSystemAtLeastVersion({12, 0, 0})) return "";
  const std::optional<rqb::CarrierDictionary> carriers = RQBNetworkUtil::getCarriers();
  if (!carriers) return "";
  // Each name quoted as it is, unescaped; a missing name reads (null).
  for (const auto& [service, carrier] : *carriers) {
    names.push_back('"' + carrier.carrier_name.value_or("(null)") + '"');
  }
  return RQBConverterUtil::arrayToString(names);
}
