#include "DataHelpers/RQBVoipDataHelper.h"

#include <cstddef>

#include "Constants/RQBConstantTexts.h"
#include "Platform/OperatingSystem.h"
#include "Utils/Converter/RQBConverterUtil.h"
#include "Utils/Network/RQBNetworkUtil.h"

std::optional<std::string> RQBVoipDataHelper::getKey() {
  return rqb::text::RQBVARCarrierAllowsVoip;
}

std::optional<std::string> RQBVoipDataHelper::getValue() {
  std::string object;
  if (!rqb::IsOperatingSystemAtLeastVersion({12, 0, 0})) return "{}";
  const std::optional<rqb::CarrierDictionary> carriers = RQBNetworkUtil::getCarriers();
  if (!carriers || carriers->empty()) return "{}";

  // Names are written unescaped and duplicates are kept, one member each.
  object += "{ ";
  std::size_t index = 0;
  for (const auto& [service, carrier] : *carriers) {
    if (index++ > 0) object += ", ";
    object += '"' + carrier.carrier_name.value_or("(null)") +
              "\": " + RQBConverterUtil::booleanToString(carrier.allows_voip);
  }
  object += " }";
  return object;
}
