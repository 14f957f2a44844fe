// The Apple providers, one per platform interface, each a thin translation
// of the system calls that its readings come from. Every maker returns a new
// provider that the caller owns; ApplePlatform.mm makes each one once.
#pragma once

namespace rqb {

class Accessibility;
class ApplicationServices;
class CaptiveNetwork;
class DeviceCalendar;
class Device;
class FileSystem;
class LibraryBundle;
class LocationServices;
class LogSink;
class MainQueue;
class NetworkReachability;
class NotificationPoster;
class OperatingSystem;
class Preferences;
class RandomSource;
class TaskExecutor;
class Telephony;
class UrlSessionFactory;
class UserLocale;

namespace apple {

LogSink* NewLogSink();                          // NSLog
RandomSource* NewRandomSource();                // arc4random_buf, NSUUID
TaskExecutor* NewBackgroundQueue();             // the background-priority global queue
MainQueue* NewMainQueue();                      // the dispatch main queue
UrlSessionFactory* NewUrlSessionFactory();      // NSURLSession
OperatingSystem* NewOperatingSystem();          // NSProcessInfo
LocationServices* NewLocationServices();        // CLLocationManager
DeviceCalendar* NewDeviceCalendar();            // NSDateFormatter
NetworkReachability* NewNetworkReachability();  // SCNetworkReachability
NotificationPoster* NewNotificationPoster();    // NSNotificationCenter
CaptiveNetwork* NewCaptiveNetwork();  // CNCopySupportedInterfaces, CNCopyCurrentNetworkInfo
Telephony* NewTelephony();            // CTTelephonyNetworkInfo
Device* NewDevice();                  // UIDevice, sysctl
Accessibility* NewAccessibility();    // UIAccessibility functions
UserLocale* NewUserLocale();          // NSLocale
LibraryBundle* NewLibraryBundle();    // the version built in
FileSystem* NewFileSystem();          // NSFileManager
Preferences* NewPreferences();        // NSUserDefaults
ApplicationServices*
NewApplicationServices();  // ASIdentifierManager, SKPaymentQueue, UIApplication

}  // namespace apple
}  // namespace rqb
