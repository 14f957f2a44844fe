// Constants exported by RQBehavior: version, device-profile key names, error
// domain and messages. Every string is NUL-terminated UTF-8.
#pragma once

#include "RQBehavior/RQBExport.h"

// On iOS these names are NSString objects, declared by the framework's
// RQBConstants.h; the C strings exist only in the other builds.
#ifndef __APPLE__

RQB_EXPORT extern const double RQBehaviorVersionNumber;
// What-string form: "@(#)PROGRAM:RQBehavior  PROJECT:RQBehavior-<version>\n".
RQB_EXPORT extern const unsigned char RQBehaviorVersionString[];

// Key names of the device profile's "Variables" object. Each holds its own
// name without the RQBVAR prefix, e.g. RQBVARPlatform is "Platform".
RQB_EXPORT extern const char* const RQBVARPlatform;
RQB_EXPORT extern const char* const RQBVARSDKVersion;
RQB_EXPORT extern const char* const RQBVARAdvertisingId;
RQB_EXPORT extern const char* const RQBVARLocation;
RQB_EXPORT extern const char* const RQBVARBatteryInfo;
RQB_EXPORT extern const char* const RQBVARBattery;
RQB_EXPORT extern const char* const RQBVARLanguageCode;
RQB_EXPORT extern const char* const RQBVARDeviceGeneratedId;
RQB_EXPORT extern const char* const RQBVARVisitorIdentifierForVendor;
RQB_EXPORT extern const char* const RQBVARDeviceModel;
RQB_EXPORT extern const char* const RQBVARSystemVersion;
RQB_EXPORT extern const char* const RQBVAROSVersion;  // reported by no collector
RQB_EXPORT extern const char* const RQBVARSystemName;
RQB_EXPORT extern const char* const RQBVARConnectedVia3G;
RQB_EXPORT extern const char* const RQBVARCarrier;
RQB_EXPORT extern const char* const RQBVARClosedCaptioningEnabled;
RQB_EXPORT extern const char* const RQBVARDeviceName;
RQB_EXPORT extern const char* const RQBVARFreeDiskSpace;
RQB_EXPORT extern const char* const RQBVARGuidedAccessEnabled;
RQB_EXPORT extern const char* const RQBVARInvertColorsEnabled;
RQB_EXPORT extern const char* const RQBVARJailBroken;
RQB_EXPORT extern const char* const RQBVARInstalledKeyboards;
RQB_EXPORT extern const char* const RQBVARLocaleEqualsLanguage;
RQB_EXPORT extern const char* const RQBVARMonoAudioEnabled;
RQB_EXPORT extern const char* const RQBVARPaymentsAllowed;
RQB_EXPORT extern const char* const RQBVARSSID;
RQB_EXPORT extern const char* const RQBVARVoiceOverRunning;
RQB_EXPORT extern const char* const RQBVARCarrierAllowsVoip;
RQB_EXPORT extern const char* const RQBVARConnectedViaWifi;

RQB_EXPORT extern const char* const RQ_BEHAVIOR_ERROR_DOMAIN;
RQB_EXPORT extern const char* const UNDEFINED_APP_ID_ERR_MESSAGE;
// Reason of the "NoSessionID" exception.
RQB_EXPORT extern const char* const UNDEFINED_SESSION_ID_ERR_MESSAGE;
RQB_EXPORT extern const char* const EXTERNAL_SETTINGS_NOT_FOUND;
// printf format of the message formed for a non-200 upload response.
RQB_EXPORT extern const char* const API_ERROR;
// Writable by the host; read by no code of the library.
RQB_EXPORT extern const char* DeviceGeneratedTag;

#endif  // __APPLE__
