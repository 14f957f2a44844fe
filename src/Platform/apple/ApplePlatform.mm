// The default platform on iOS: the system's own services.
#include "Platform/Platform.h"

#include "DataHelpers/RQBDataHelperRegistry.h"
#include "Platform/apple/AppleProviders.h"

namespace rqb {
namespace {

Platform* MakeApplePlatform() {
  auto* platform = new Platform();
  platform->log = apple::NewLogSink();
  platform->random = apple::NewRandomSource();
  platform->background_queue = apple::NewBackgroundQueue();
  platform->main_queue = apple::NewMainQueue();
  platform->url_sessions = apple::NewUrlSessionFactory();
  // The collectors are C++ classes, looked up by name in the library's own
  // table as on every system.
  platform->classes = new RegistryClassLookup();
  platform->operating_system = apple::NewOperatingSystem();
  platform->location = apple::NewLocationServices();
  platform->calendar = apple::NewDeviceCalendar();
  platform->network_reachability = apple::NewNetworkReachability();
  platform->notifications = apple::NewNotificationPoster();
  platform->captive_network = apple::NewCaptiveNetwork();
  platform->telephony = apple::NewTelephony();
  platform->device = apple::NewDevice();
  platform->accessibility = apple::NewAccessibility();
  platform->locale = apple::NewUserLocale();
  platform->library_bundle = apple::NewLibraryBundle();
  platform->file_system = apple::NewFileSystem();
  platform->preferences = apple::NewPreferences();
  platform->application = apple::NewApplicationServices();
  return platform;
}

}  // namespace

const Platform& DefaultPlatform() {
  // Never destroyed: queued work may still use it while the process exits.
  static const Platform* const platform = MakeApplePlatform();
  return *platform;
}

}  // namespace rqb
