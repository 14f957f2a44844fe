// The exported constants hold the texts hosts and the profiling service
// know them by. The iOS build exports the same table as NSString objects.
#include <gtest/gtest.h>

#include <utility>

#include "RQBehavior/RQBConstants.h"

namespace {

TEST(Constants, HoldTheirPublishedTextsByteForByte) {
  EXPECT_EQ(RQBehaviorVersionNumber, 3.0);
  EXPECT_STREQ(reinterpret_cast<const char*>(RQBehaviorVersionString),
               "@(#)PROGRAM:RQBehavior  PROJECT:RQBehavior-3.0.2-rc.1\n");

  const std::pair<const char*, const char*> texts[] = {
      {RQBVARPlatform, "Platform"},
      {RQBVARSDKVersion, "SDKVersion"},
      {RQBVARAdvertisingId, "AdvertisingId"},
      {RQBVARLocation, "Location"},
      {RQBVARBatteryInfo, "BatteryInfo"},
      {RQBVARBattery, "Battery"},
      {RQBVARLanguageCode, "LanguageCode"},
      {RQBVARDeviceGeneratedId, "DeviceGeneratedId"},
      {RQBVARVisitorIdentifierForVendor, "VisitorIdentifierForVendor"},
      {RQBVARDeviceModel, "DeviceModel"},
      {RQBVARSystemVersion, "SystemVersion"},
      {RQBVAROSVersion, "OSVersion"},
      {RQBVARSystemName, "SystemName"},
      {RQBVARConnectedVia3G, "ConnectedVia3G"},
      {RQBVARCarrier, "Carrier"},
      {RQBVARClosedCaptioningEnabled, "ClosedCaptioningEnabled"},
      {RQBVARDeviceName, "DeviceName"},
      {RQBVARFreeDiskSpace, "FreeDiskSpace"},
      {RQBVARGuidedAccessEnabled, "GuidedAccessEnabled"},
      {RQBVARInvertColorsEnabled, "InvertColorsEnabled"},
      {RQBVARJailBroken, "JailBroken"},
      {RQBVARInstalledKeyboards, "InstalledKeyboards"},
      {RQBVARLocaleEqualsLanguage, "LocaleEqualsLanguage"},
      {RQBVARMonoAudioEnabled, "MonoAudioEnabled"},
      {RQBVARPaymentsAllowed, "PaymentsAllowed"},
      {RQBVARSSID, "SSID"},
      {RQBVARVoiceOverRunning, "VoiceOverRunning"},
      {RQBVARCarrierAllowsVoip, "CarrierAllowsVoip"},
      {RQBVARConnectedViaWifi, "ConnectedViaWifi"},
      {RQ_BEHAVIOR_ERROR_DOMAIN, "zeta.vorn.behavior.ios"},
      {UNDEFINED_APP_ID_ERR_MESSAGE,
       "Undefined App. Please, set \"App\" property at least once to use RQBehavior"},
      {UNDEFINED_SESSION_ID_ERR_MESSAGE,
       "Undefined SessionId. SessionId must not be null and must be a min length of 6 "
       "characters."},
      {EXTERNAL_SETTINGS_NOT_FOUND, "External Settings not found!"},
      {API_ERROR, "API ERROR: %li"},
      {DeviceGeneratedTag, "zeta.vorn.antifraud.auth"},
  };
  for (const auto& [exported, expected] : texts) EXPECT_STREQ(exported, expected);
}

}  // namespace
