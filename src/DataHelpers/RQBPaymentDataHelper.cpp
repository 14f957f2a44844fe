#include "DataHelpers/RQBPaymentDataHelper.h"

#include "Platform/ApplicationServices.h"
#include "Platform/Platform.h"
#include "RQBehavior/RQBConstants.h"
#include "Utils/Converter/RQBConverterUtil.h"

std::optional<std::string> RQBPaymentDataHelper::getKey() { return RQBVARPaymentsAllowed; }

std::optional<std::string> RQBPaymentDataHelper::getValue() {
  return RQBConverterUtil::booleanToString(rqb::CurrentPlatform().application->CanMakePayments());
}
