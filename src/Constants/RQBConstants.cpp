#include "RQBehavior/RQBConstants.h"

const double RQBehaviorVersionNumber = 3.0;
const unsigned char RQBehaviorVersionString[] =
    "@(#)PROGRAM:RQBehavior  PROJECT:RQBehavior-3.0.2-rc.1\n";

const char* const RQBVARPlatform = "Platform";
const char* const RQBVARSDKVersion = "SDKVersion";
const char* const RQBVARAdvertisingId = "AdvertisingId";
const char* const RQBVARLocation = "Location";
const char* const RQBVARBatteryInfo = "BatteryInfo";
const char* const RQBVARBattery = "Battery";
const char* const RQBVARLanguageCode = "LanguageCode";
const char* const RQBVARDeviceGeneratedId = "DeviceGeneratedId";
const char* const RQBVARVisitorIdentifierForVendor = "VisitorIdentifierForVendor";
const char* const RQBVARDeviceModel = "DeviceModel";
const char* const RQBVARSystemVersion = "SystemVersion";
const char* const RQBVAROSVersion = "OSVersion";
const char* const RQBVARSystemName = "SystemName";
const char* const RQBVARConnectedVia3G = "ConnectedVia3G";
const char* const RQBVARCarrier = "Carrier";
const char* const RQBVARClosedCaptioningEnabled = "ClosedCaptioningEnabled";
const char* const RQBVARDeviceName = "DeviceName";
const char* const RQBVARFreeDiskSpace = "FreeDiskSpace";
const char* const RQBVARGuidedAccessEnabled = "GuidedAccessEnabled";
const char* const RQBVARInvertColorsEnabled = "InvertColorsEnabled";
const char* const RQBVARJailBroken = "JailBroken";
const char* const RQBVARInstalledKeyboards = "InstalledKeyboards";
const char* const RQBVARLocaleEqualsLanguage = "LocaleEqualsLanguage";
const char* const RQBVARMonoAudioEnabled = "MonoAudioEnabled";
const char* const RQBVARPaymentsAllowed = "PaymentsAllowed";
const char* const RQBVARSSID = "SSID";
const char* const RQBVARVoiceOverRunning = "VoiceOverRunning";
const char* const RQBVARCarrierAllowsVoip = "CarrierAllowsVoip";
const char* const RQBVARConnectedViaWifi = "ConnectedViaWifi";

const char* const RQ_BEHAVIOR_ERROR_DOMAIN = "zeta.vorn.behavior.ios";
const char* const UNDEFINED_APP_ID_ERR_MESSAGE =
    "Undefined App. Please, set \"App\" property at least once to use RQBehavior";
const char* const UNDEFINED_SESSION_ID_ERR_MESSAGE =
    "Undefined SessionId. SessionId must not be null and must be a min length of 6 characters.";
const char* const EXTERNAL_SETTINGS_NOT_FOUND = "External Settings not found!";
const char* const API_ERROR = "API ERROR: %li";
const char* DeviceGeneratedTag = "zeta.vorn.antifraud.auth";
