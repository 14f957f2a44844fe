// The texts of the exported constants, in one table. Each platform exports
// them in its own string type from this table: C strings for C and C++ hosts
// (RQBConstants.cpp), NSString objects for Objective-C and Swift hosts on iOS
// (Platform/apple/Framework/RQBConstants.mm). The two forms share their
// names, so no build holds both; the library's own code reads the texts
// through rqb::text, which exists in every build.
#pragma once

// X(name, text) for each constant string.
#define RQB_CONSTANT_TEXTS(X)                                                                      \
  X(RQBVARPlatform, "Platform")                                                                    \
  X(RQBVARSDKVersion, "SDKVersion")                                                                \
  X(RQBVARAdvertisingId, "AdvertisingId")                                                          \
  X(RQBVARLocation, "Location")                                                                    \
  X(RQBVARBatteryInfo, "BatteryInfo")                                                              \
  X(RQBVARBattery, "Battery")                                                                      \
  X(RQBVARLanguageCode, "LanguageCode")                                                            \
  X(RQBVARDeviceGeneratedId, "DeviceGeneratedId")                                                  \
  X(RQBVARVisitorIdentifierForVendor, "VisitorIdentifierForVendor")                                \
  X(RQBVARDeviceModel, "DeviceModel")                                                              \
  X(RQBVARSystemVersion, "SystemVersion")                                                          \
  X(RQBVAROSVersion, "OSVersion")                                                                  \
  X(RQBVARSystemName, "SystemName")                                                                \
  X(RQBVARConnectedVia3G, "ConnectedVia3G")                                                        \
  X(RQBVARCarrier, "Carrier")                                                                      \
  X(RQBVARClosedCaptioningEnabled, "ClosedCaptioningEnabled")                                      \
  X(RQBVARDeviceName, "DeviceName")                                                                \
  X(RQBVARFreeDiskSpace, "FreeDiskSpace")                                                          \
  X(RQBVARGuidedAccessEnabled, "GuidedAccessEnabled")                                              \
  X(RQBVARInvertColorsEnabled, "InvertColorsEnabled")                                              \
  X(RQBVARJailBroken, "JailBroken")                                                                \
  X(RQBVARInstalledKeyboards, "InstalledKeyboards")                                                \
  X(RQBVARLocaleEqualsLanguage, "LocaleEqualsLanguage")                                            \
  X(RQBVARMonoAudioEnabled, "MonoAudioEnabled")                                                    \
  X(RQBVARPaymentsAllowed, "PaymentsAllowed")                                                      \
  X(RQBVARSSID, "SSID")                                                                            \
  X(RQBVARVoiceOverRunning, "VoiceOverRunning")                                                    \
  X(RQBVARCarrierAllowsVoip, "CarrierAllowsVoip")                                                  \
  X(RQBVARConnectedViaWifi, "ConnectedViaWifi")                                                    \
  X(RQ_BEHAVIOR_ERROR_DOMAIN, "zeta.vorn.behavior.ios")                                            \
  X(UNDEFINED_APP_ID_ERR_MESSAGE,                                                                  \
    "Undefined App. Please, set \"App\" property at least once to use RQBehavior")                 \
  X(UNDEFINED_SESSION_ID_ERR_MESSAGE,                                                              \
    "Undefined SessionId. SessionId must not be null and must be a min length of 6 characters.")   \
  X(EXTERNAL_SETTINGS_NOT_FOUND, "External Settings not found!")                                   \
  X(API_ERROR, "API ERROR: %li")

// The one string a host may replace; read by no code of the library.
#define RQB_WRITABLE_CONSTANT_TEXTS(X) X(DeviceGeneratedTag, "zeta.vorn.antifraud.auth")

#define RQB_VERSION_NUMBER 3.0
// What-string form, with two blanks between the fields and a final line feed.
#define RQB_VERSION_STRING "@(#)PROGRAM:RQBehavior  PROJECT:RQBehavior-3.0.2-rc.1\n"

// The texts as the library's code uses them.
namespace rqb::text {
#define RQB_DECLARE_TEXT(name, text) inline constexpr char name[] = text;
RQB_CONSTANT_TEXTS(RQB_DECLARE_TEXT)
#undef RQB_DECLARE_TEXT
}  // namespace rqb::text
