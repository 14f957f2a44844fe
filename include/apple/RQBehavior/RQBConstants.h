// Constants exported by RQBehavior on iOS: version, device-profile key
// names, error domain and messages, as Objective-C strings (String in
// Swift). The same texts as the C strings of the Linux build.
#import <Foundation/Foundation.h>

NS_ASSUME_NONNULL_BEGIN

FOUNDATION_EXPORT const double RQBehaviorVersionNumber;
// What-string form: "@(#)PROGRAM:RQBehavior  PROJECT:RQBehavior-<version>\n".
FOUNDATION_EXPORT const unsigned char RQBehaviorVersionString[];

// Key names of the device profile's "Variables" object. Each holds its own
// name without the RQBVAR prefix, e.g. RQBVARPlatform is @"Platform".
FOUNDATION_EXPORT NSString *const RQBVARPlatform;
FOUNDATION_EXPORT NSString *const RQBVARSDKVersion;
FOUNDATION_EXPORT NSString *const RQBVARAdvertisingId;
FOUNDATION_EXPORT NSString *const RQBVARLocation;
FOUNDATION_EXPORT NSString *const RQBVARBatteryInfo;
FOUNDATION_EXPORT NSString *const RQBVARBattery;
FOUNDATION_EXPORT NSString *const RQBVARLanguageCode;
FOUNDATION_EXPORT NSString *const RQBVARDeviceGeneratedId;
FOUNDATION_EXPORT NSString *const RQBVARVisitorIdentifierForVendor;
FOUNDATION_EXPORT NSString *const RQBVARDeviceModel;
FOUNDATION_EXPORT NSString *const RQBVARSystemVersion;
FOUNDATION_EXPORT NSString *const RQBVAROSVersion;  // reported by no collector
FOUNDATION_EXPORT NSString *const RQBVARSystemName;
FOUNDATION_EXPORT NSString *const RQBVARConnectedVia3G;
FOUNDATION_EXPORT NSString *const RQBVARCarrier;
FOUNDATION_EXPORT NSString *const RQBVARClosedCaptioningEnabled;
FOUNDATION_EXPORT NSString *const RQBVARDeviceName;
FOUNDATION_EXPORT NSString *const RQBVARFreeDiskSpace;
FOUNDATION_EXPORT NSString *const RQBVARGuidedAccessEnabled;
FOUNDATION_EXPORT NSString *const RQBVARInvertColorsEnabled;
FOUNDATION_EXPORT NSString *const RQBVARJailBroken;
FOUNDATION_EXPORT NSString *const RQBVARInstalledKeyboards;
FOUNDATION_EXPORT NSString *const RQBVARLocaleEqualsLanguage;
FOUNDATION_EXPORT NSString *const RQBVARMonoAudioEnabled;
FOUNDATION_EXPORT NSString *const RQBVARPaymentsAllowed;
FOUNDATION_EXPORT NSString *const RQBVARSSID;
FOUNDATION_EXPORT NSString *const RQBVARVoiceOverRunning;
FOUNDATION_EXPORT NSString *const RQBVARCarrierAllowsVoip;
FOUNDATION_EXPORT NSString *const RQBVARConnectedViaWifi;

// The domain of the NSError that -collectDeviceInformation:error: reports.
FOUNDATION_EXPORT NSErrorDomain const RQ_BEHAVIOR_ERROR_DOMAIN;
FOUNDATION_EXPORT NSString *const UNDEFINED_APP_ID_ERR_MESSAGE;
// Reason of the "NoSessionID" exception.
FOUNDATION_EXPORT NSString *const UNDEFINED_SESSION_ID_ERR_MESSAGE;
FOUNDATION_EXPORT NSString *const EXTERNAL_SETTINGS_NOT_FOUND;
// Format of the message formed for a non-200 upload response.
FOUNDATION_EXPORT NSString *const API_ERROR;
// Writable by the host; read by no code of the library.
FOUNDATION_EXPORT NSString *DeviceGeneratedTag;

NS_ASSUME_NONNULL_END
