#include "Utils/Network/RQBNetworkUtil.h"

#include "Managers/CollectionRunScope.h"
#include "Platform/OperatingSystem.h"
#include "Platform/Platform.h"
#include "Utils/Reachability/Reachability.h"

namespace {

// A fresh monitor for every question, started on the caller's run loop and
// released at once, as the connection-type questions have always been asked.
// On the collection thread that loop never runs, so it notifies nobody.
ReachabilityStatus InternetStatus() {
  const std::unique_ptr<Reachability> reachability =
      Reachability::reachabilityForInternetConnection();
  if (!reachability) return ReachabilityStatusNone;
  reachability->startNotifier();
  return reachability->currentReachabilityStatus();
}

}  // namespace

bool RQBNetworkUtil::connectedViaWiFi() { return InternetStatus() == ReachabilityStatusWiFi; }

bool RQBNetworkUtil::connectedVia3G() { return InternetStatus() == ReachabilityStatusWWAN; }

std::optional<rqb::CarrierDictionary> RQBNetworkUtil::getCarriers() {
  if (!rqb::IsOperatingSystemAtLeastVersion({12, 0, 0})) return std::nullopt;
  rqb::Telephony& telephony = *rqb::CurrentPlatform().telephony;
  // Within a run, the two carrier collectors share one answer.
  rqb::CollectionRunScope* const run = rqb::CollectionRunScope::Current();
  if (run == nullptr) return telephony.ServiceSubscriberCellularProviders();
  if (!run->carriers) run->carriers = telephony.ServiceSubscriberCellularProviders();
  return *run->carriers;
}
