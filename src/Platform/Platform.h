// Everything RQBehavior needs from the system it runs on, one small provider
// per concern. The library's logic reaches the system only through
// CurrentPlatform(); tests replace providers with ScopedPlatformOverride.
#pragma once

namespace rqb {

class CaptiveNetwork;
class ClassLookup;
class DeviceCalendar;
class LocationServices;
class Accessibility;
class ApplicationServices;
class ClassLookup;
class Device;
class FileSystem;
class LibraryBundle;
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

struct Platform {
  LogSink* log = nullptr;
  RandomSource* random = nullptr;
  // The low-priority concurrent queue on which collection runs execute.
  TaskExecutor* background_queue = nullptr;
  // The serial queue of the host's main thread.
  MainQueue* main_queue = nullptr;
  UrlSessionFactory* url_sessions = nullptr;
  // Collector classes by name.
  ClassLookup* classes = nullptr;
  OperatingSystem* operating_system = nullptr;
  LocationServices* location = nullptr;
  // Locale, week rules and time zone for the dates the library writes.
  DeviceCalendar* calendar = nullptr;
  NetworkReachability* network_reachability = nullptr;
  // Where reachability monitors announce changes.
  NotificationPoster* notifications = nullptr;
  // The Wi-Fi interfaces and their networks.
  CaptiveNetwork* captive_network = nullptr;
  Telephony* telephony = nullptr;
  Device* device = nullptr;
  Accessibility* accessibility = nullptr;
  UserLocale* locale = nullptr;
  LibraryBundle* library_bundle = nullptr;
  FileSystem* file_system = nullptr;
  Preferences* preferences = nullptr;
  ApplicationServices* application = nullptr;
};

// The real providers of the operating system the library was built for,
// created on first use and never destroyed.
const Platform& DefaultPlatform();

// The platform in force: the innermost live override, else the default. Every
// provider of the result is set.
const Platform& CurrentPlatform();

// Puts a platform in force for its lifetime and restores the previous one when
// it ends. Providers that `replacement` leaves null are kept from the platform
// in force, so a test may replace one provider alone. Overrides nest and must
// end in reverse order; background work that uses the platform must be over
// before the override ends.
class ScopedPlatformOverride {
 public:
  explicit ScopedPlatformOverride(const Platform& replacement);
  ~ScopedPlatformOverride();

  ScopedPlatformOverride(const ScopedPlatformOverride&) = delete;
  ScopedPlatformOverride& operator=(const ScopedPlatformOverride&) = delete;

 private:
  Platform platform_;
  const Platform* previous_;
};

}  // namespace rqb
