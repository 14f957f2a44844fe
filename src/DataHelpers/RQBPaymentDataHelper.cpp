#include "DataHelpers/RQBPaymentDataHelper.h"

#include "Constants/RQBConstantTexts.h"
#include "Platform/ApplicationServices.h"
#include "Platform/Platform.h"
#include "Utils/Converter/RQBConverterUtil.h"

std::optional<std::string> RQBPaymentDataHelper::getKey() {
  return rqb::text::RQBVARPaymentsAllowed;
}

std::optional<std::string> RQBPaymentDataHelper::getValue() {
  return RQBConverterUtil::booleanToString(rqb::CurrentPlatform().application->CanMakePayments());
}
