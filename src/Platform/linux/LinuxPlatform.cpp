// The default platform on Linux: real readings of this machine.
#include "Platform/Platform.h"

#include "DataHelpers/RQBDataHelperRegistry.h"
#include "Platform/MainQueue.h"
#include "Platform/ThreadPool.h"
#include "Platform/linux/CurlUrlSession.h"
#include "Platform/linux/LinuxDeviceCalendar.h"
#include "Platform/linux/LinuxLocationServices.h"
#include "Platform/linux/LinuxCaptiveNetwork.h"
#include "Platform/linux/LinuxLogSink.h"
#include "Platform/linux/LinuxNetworkReachability.h"
#include "Platform/linux/LinuxOperatingSystem.h"
#include "Platform/linux/LinuxRandomSource.h"
#include "Platform/linux/LinuxTelephony.h"
#include "Platform/linux/LinuxThreads.h"

namespace rqb {
namespace {

// Collection runs are short and mostly wait on the system; a few threads are
// enough for runs to overlap without a burst of calls multiplying threads.
constexpr std::size_t kBackgroundThreads = 4;

Platform* MakeLinuxPlatform() {
  auto* platform = new Platform();
  platform->log = new LinuxLogSink();
  platform->random = new LinuxRandomSource();
  platform->background_queue =
      new ThreadPool(kBackgroundThreads, [] { BecomeBackgroundThread("rqb-background"); });
  platform->main_queue = new MainQueue();
  platform->url_sessions = new CurlUrlSessionFactory();
  platform->classes = new RegistryClassLookup();
  platform->operating_system = new LinuxOperatingSystem();
  platform->location = new LinuxLocationServices();
  platform->calendar = new LinuxDeviceCalendar();
  platform->network_reachability = new LinuxNetworkReachability();
  platform->captive_network = new LinuxCaptiveNetwork();
  platform->telephony = new LinuxTelephony();
  return platform;
}

}  // namespace

const Platform& DefaultPlatform() {
  // Never destroyed: background threads may still use it while the process exits.
  static const Platform* const platform = MakeLinuxPlatform();
  return *platform;
}

}  // namespace rqb
