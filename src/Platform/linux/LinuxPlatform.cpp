// The default platform on Linux: real readings of this machine.
#include "DataHelpers/RQBDataHelperRegistry.h"
#include "Platform/ForkGate.h"
#include "Platform/MainQueue.h"
#include "Platform/NotificationCenter.h"
#include "Platform/Platform.h"
#include "Platform/ThreadPool.h"
#include "Platform/linux/CurlUrlSession.h"
#include "Platform/linux/LinuxAccessibility.h"
#include "Platform/linux/LinuxApplicationServices.h"
#include "Platform/linux/LinuxCaptiveNetwork.h"
#include "Platform/linux/LinuxDevice.h"
#include "Platform/linux/LinuxDeviceCalendar.h"
#include "Platform/linux/LinuxFileSystem.h"
#include "Platform/linux/LinuxLibraryBundle.h"
#include "Platform/linux/LinuxLocationServices.h"
#include "Platform/linux/LinuxLogSink.h"
#include "Platform/linux/LinuxNetworkReachability.h"
#include "Platform/linux/LinuxOperatingSystem.h"
#include "Platform/linux/LinuxPreferences.h"
#include "Platform/linux/LinuxRandomSource.h"
#include "Platform/linux/LinuxTelephony.h"
#include "Platform/linux/LinuxThreads.h"
#include "Platform/linux/LinuxUserLocale.h"
#include "Platform/linux/RuntimeLibrary.h"

namespace rqb {
namespace {

// Collection runs are short and mostly wait on the system; a few threads are
// enough for runs to overlap without a burst of calls multiplying threads.
constexpr std::size_t kBackgroundThreads = 4;

Platform* MakeLinuxPlatform() {
  // Before any library thread exists; cheap, as OpenSSL and the others are
  // loaded later, by library threads.
  CloseLibrarySectionsAtExit();
  auto* platform = new Platform();
  platform->log = new LinuxLogSink();
  platform->random = new LinuxRandomSource();
  platform->background_queue = new ThreadPool(kBackgroundThreads, [](std::function<void()> body) {
    return StartLibraryThread("rqb-background", ThreadPriority::kBackground, std::move(body));
  });
  platform->main_queue = new DrainableMainQueue();
  platform->url_sessions = new CurlUrlSessionFactory();
  platform->classes = new RegistryClassLookup();
  platform->operating_system = new LinuxOperatingSystem();
  platform->location = new LinuxLocationServices();
  platform->calendar = new LinuxDeviceCalendar();
  platform->network_reachability = new LinuxNetworkReachability();
  platform->notifications = new DefaultCenterPoster();
  platform->captive_network = new LinuxCaptiveNetwork();
  platform->telephony = new LinuxTelephony();
  platform->device = new LinuxDevice();
  platform->accessibility = new LinuxAccessibility();
  platform->locale = new LinuxUserLocale();
  platform->library_bundle = new LinuxLibraryBundle();
  platform->file_system = new LinuxFileSystem();
  platform->preferences = new LinuxPreferences();
  platform->application = new LinuxApplicationServices();
  return platform;
}

}  // namespace

const Platform& DefaultPlatform() {
  // Never destroyed: background threads may still use it while the process exits.
  return MakeOnce([] { return MakeLinuxPlatform(); });
}

}  // namespace rqb
