#include <gtest/gtest.h>

#include <cstring>

#include "RQBehavior/RQBConstants.h"

namespace {

#define KEY(constant) std::pair<std::string, std::string>(#constant, constant)

TEST(RQBConstants, EveryKeyConstantHoldsItsOwnName) {
  for (const auto& [name, text] : {
           KEY(RQBVARPlatform), KEY(RQBVARSDKVersion), KEY(RQBVARAdvertisingId),
           KEY(RQBVARLocation), KEY(RQBVARBatteryInfo), KEY(RQBVARBattery),
           KEY(RQBVARLanguageCode), KEY(RQBVARDeviceGeneratedId),
           KEY(RQBVARVisitorIdentifierForVendor), KEY(RQBVARDeviceModel),
           KEY(RQBVARSystemVersion), KEY(RQBVAROSVersion), KEY(RQBVARSystemName),
           KEY(RQBVARConnectedVia3G), KEY(RQBVARCarrier), KEY(RQBVARClosedCaptioningEnabled),
           KEY(RQBVARDeviceName), KEY(RQBVARFreeDiskSpace), KEY(RQBVARGuidedAccessEnabled),
           KEY(RQBVARInvertColorsEnabled), KEY(RQBVARJailBroken), KEY(RQBVARInstalledKeyboards),
           KEY(RQBVARLocaleEqualsLanguage), KEY(RQBVARMonoAudioEnabled),
           KEY(RQBVARPaymentsAllowed), KEY(RQBVARSSID), KEY(RQBVARVoiceOverRunning),
           KEY(RQBVARCarrierAllowsVoip), KEY(RQBVARConnectedViaWifi),
       }) {
    EXPECT_EQ("RQBVAR" + text, name);
  }
}

TEST(RQBConstants, VersionStringIsAWhatStringEndingInOneLineFeed) {
  const char* text = reinterpret_cast<const char*>(RQBehaviorVersionString);
  EXPECT_STREQ(text, "@(#)PROGRAM:RQBehavior  PROJECT:RQBehavior-3.0.2-rc.1\n");
  EXPECT_EQ(RQBehaviorVersionNumber, 3.0);
}

}  // namespace
