#include "DataHelpers/RQBDataHelperRegistry.h"

#include <span>

#include "DataHelpers/RQB3GDataHelper.h"
#include "DataHelpers/RQBAdvertisingIDDataHelper.h"
#include "DataHelpers/RQBBatteryDataHelper.h"
#include "DataHelpers/RQBBatteryInfoDataHelper.h"
#include "DataHelpers/RQBCarrierDataHelper.h"
#include "DataHelpers/RQBClosedCaptionDataHelper.h"
#include "DataHelpers/RQBDataHelper.h"
#include "DataHelpers/RQBDeviceModelDataHelper.h"
#include "DataHelpers/RQBDeviceNameDataHelper.h"
#include "DataHelpers/RQBFreeDiskDataHelper.h"
#include "DataHelpers/RQBGuidedAccessDataHelper.h"
#include "DataHelpers/RQBInvertedColorsDataHelper.h"
#include "DataHelpers/RQBJailBreakDataHelper.h"
#include "DataHelpers/RQBKeyboardsDataHelper.h"
#include "DataHelpers/RQBLanguageCodeDataHelper.h"
#include "DataHelpers/RQBLocationDataHelper.h"
#include "DataHelpers/RQBLocationLanguageDataHelper.h"
#include "DataHelpers/RQBMonoAudioDataHelper.h"
#include "DataHelpers/RQBOSVersionDataHelper.h"
#include "DataHelpers/RQBPaymentDataHelper.h"
#include "DataHelpers/RQBPlatformDataHelper.h"
#include "DataHelpers/RQBSDKVersionDataHelper.h"
#include "DataHelpers/RQBSSIDDataHelper.h"
#include "DataHelpers/RQBSystemNameDataHelper.h"
#include "DataHelpers/RQBSystemVersionDataHelper.h"
#include "DataHelpers/RQBUniqueIdentifierDataHelper.h"
#include "DataHelpers/RQBVisitorIntifierForVendorDataHelper.h"
#include "DataHelpers/RQBVoiceOverDataHelper.h"
#include "DataHelpers/RQBVoipDataHelper.h"
#include "DataHelpers/RQBWifiDataHelper.h"

namespace rqb {
namespace {

struct DataHelperClass {
  std::string_view name;
  std::unique_ptr<RQBDataHelper> (*create)();
};

template <typename Helper>
std::unique_ptr<RQBDataHelper> Create() {
  return std::make_unique<Helper>();
}

// One entry per collector class, under the class's own name. The table is
// explicit because self-registering statics vanish when a static library is
// linked. The jailbreak collector is here under its class name,
// "RQBJailBreakingDataHelper"; the run asks for "RQBJailBreakDataHelper",
// which has no entry.
constexpr auto kDataHelperClasses = std::to_array<DataHelperClass>({
    {"RQB3GDataHelper", Create<RQB3GDataHelper>},
    {"RQBAdvertisingIDDataHelper", Create<RQBAdvertisingIDDataHelper>},
    {"RQBBatteryDataHelper", Create<RQBBatteryDataHelper>},
    {"RQBBatteryInfoDataHelper", Create<RQBBatteryInfoDataHelper>},
    {"RQBCarrierDataHelper", Create<RQBCarrierDataHelper>},
    {"RQBClosedCaptionDataHelper", Create<RQBClosedCaptionDataHelper>},
    {"RQBDeviceModelDataHelper", Create<RQBDeviceModelDataHelper>},
    {"RQBDeviceNameDataHelper", Create<RQBDeviceNameDataHelper>},
    {"RQBFreeDiskDataHelper", Create<RQBFreeDiskDataHelper>},
    {"RQBGuidedAccessDataHelper", Create<RQBGuidedAccessDataHelper>},
    {"RQBInvertedColorsDataHelper", Create<RQBInvertedColorsDataHelper>},
    {"RQBJailBreakingDataHelper", Create<RQBJailBreakingDataHelper>},
    {"RQBKeyboardsDataHelper", Create<RQBKeyboardsDataHelper>},
    {"RQBLanguageCodeDataHelper", Create<RQBLanguageCodeDataHelper>},
    {"RQBLocationDataHelper", Create<RQBLocationDataHelper>},
    {"RQBLocationLanguageDataHelper", Create<RQBLocationLanguageDataHelper>},
    {"RQBMonoAudioDataHelper", Create<RQBMonoAudioDataHelper>},
    {"RQBOSVersionDataHelper", Create<RQBOSVersionDataHelper>},
    {"RQBPaymentDataHelper", Create<RQBPaymentDataHelper>},
    {"RQBPlatformDataHelper", Create<RQBPlatformDataHelper>},
    {"RQBSDKVersionDataHelper", Create<RQBSDKVersionDataHelper>},
    {"RQBSSIDDataHelper", Create<RQBSSIDDataHelper>},
    {"RQBSystemNameDataHelper", Create<RQBSystemNameDataHelper>},
    {"RQBSystemVersionDataHelper", Create<RQBSystemVersionDataHelper>},
    {"RQBUniqueIdentifierDataHelper", Create<RQBUniqueIdentifierDataHelper>},
    {"RQBVisitorIntifierForVendorDataHelper", Create<RQBVisitorIntifierForVendorDataHelper>},
    {"RQBVoiceOverDataHelper", Create<RQBVoiceOverDataHelper>},
    {"RQBVoipDataHelper", Create<RQBVoipDataHelper>},
    {"RQBWifiDataHelper", Create<RQBWifiDataHelper>},
});

}  // namespace

std::unique_ptr<RQBDataHelper> RegistryClassLookup::CreateDataHelper(
    std::string_view class_name) const {
  for (const DataHelperClass& helper_class : std::span(kDataHelperClasses)) {
    if (helper_class.name == class_name) return helper_class.create();
  }
  return nullptr;
}

}  // namespace rqb
