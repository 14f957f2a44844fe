#include "Managers/RQBIdentityManager.h"

#include <array>
#include <exception>
#include <memory>
#include <string_view>
#include <utility>

#include "Constants/RQBConstantTexts.h"
#include "DataHelpers/RQBDataHelper.h"
#include "Managers/CollectionRunScope.h"
#include "Managers/WorkInFlight.h"
#include "Platform/ClassLookup.h"
#include "Platform/ForkGate.h"
#include "Platform/LogSink.h"
#include "Platform/Platform.h"
#include "Platform/TaskExecutor.h"
#include "Platform/Uuid.h"
#include "RQBehavior/RQBException.h"
#include "Services/RQBHttpService.h"
#include "Utils/Text/Utf8.h"

namespace {

// The collectors of one run, in the order they are asked. Some names have no
// class on purpose ("RQBJailBreakDataHelper"), and two classes answer the
// same key ("SystemVersion"), so a profile holds at most 27 keys.
constexpr std::array<std::string_view, 29> kDataHelperRegistry = {
    "RQBPlatformDataHelper",
    "RQBSDKVersionDataHelper",
    "RQBAdvertisingIDDataHelper",
    "RQBLocationDataHelper",
    "RQBBatteryInfoDataHelper",
    "RQBBatteryDataHelper",
    "RQBLanguageCodeDataHelper",
    "RQBUniqueIdentifierDataHelper",
    "RQBVisitorIntifierForVendorDataHelper",
    "RQBDeviceModelDataHelper",
    "RQBSystemVersionDataHelper",
    "RQBOSVersionDataHelper",
    "RQBSystemNameDataHelper",
    "RQB3GDataHelper",
    "RQBCarrierDataHelper",
    "RQBClosedCaptionDataHelper",
    "RQBDeviceNameDataHelper",
    "RQBFreeDiskDataHelper",
    "RQBGuidedAccessDataHelper",
    "RQBInvertedColorsDataHelper",
    "RQBJailBreakDataHelper",
    "RQBKeyboardsDataHelper",
    "RQBLocationLanguageDataHelper",
    "RQBMonoAudioDataHelper",
    "RQBPaymentDataHelper",
    "RQBSSIDDataHelper",
    "RQBVoiceOverDataHelper",
    "RQBVoipDataHelper",
    "RQBWifiDataHelper",
};

}  // namespace

RQBIdentifyManager& RQBIdentifyManager::getInstance() {
  return rqb::MakeOnce([] { return new RQBIdentifyManager(); });
}

void RQBIdentifyManager::setApp(std::optional<std::string> app) {
  app = rqb::TextOrNil(std::move(app));
  app_.Store(app);
  RQBHttpService::getInstance().setApp(std::move(app));
}

void RQBIdentifyManager::setSessionId(std::optional<std::string> sessionId) {
  sessionId = rqb::TextOrNil(std::move(sessionId));
  if (!sessionId || rqb::Utf16Length(*sessionId) <= 5) {
    throw RQBException("NoSessionID", std::string(rqb::text::UNDEFINED_SESSION_ID_ERR_MESSAGE));
  }
  sessionId_.Store(sessionId);
  RQBHttpService::getInstance().setSessionId(std::move(sessionId));
}

void RQBIdentifyManager::setRequestTimeout(std::optional<double> requestTimeout) {
  RQBHttpService::getInstance().setRequestTimeout(requestTimeout);
}

std::string RQBIdentifyManager::generateSessionId() { return rqb::NewUuidString(); }

void RQBIdentifyManager::collectDeviceInformation() {
  // A guard that can never hold (an absent app has length 0), kept as it
  // stands: an unset app is refused later, when the envelope is built.
  const std::optional<std::string> current_app = app();
  if (!current_app && rqb::Utf16Length(current_app.value_or("")) != 0) {
    throw RQBException("NoAppID", std::string(rqb::text::UNDEFINED_APP_ID_ERR_MESSAGE));
  }
  // The ticket ends with the run, or with the task when the queue drops it.
  std::shared_ptr<rqb::WorkInFlight::Ticket> ticket = rqb::WorkInFlight::Begin();
  rqb::CurrentPlatform().background_queue->Submit([this, ticket = std::move(ticket)] {
    {
      const rqb::WorkInFlight::Scope part_of_the_run(*ticket);
      RunCollection();
    }
    ticket->End();
  });
}

rqb::JsonObject RQBIdentifyManager::getDeviceData() {
  const rqb::CollectionRunScope run;
  rqb::JsonObject variables;
  const rqb::ClassLookup& classes = *rqb::CurrentPlatform().classes;
  for (const std::string_view name : kDataHelperRegistry) {
    // A name without a class gives no instance, and asking nothing gives
    // nothing: such a name is skipped without a trace.
    const std::unique_ptr<RQBDataHelper> helper = classes.CreateDataHelper(name);
    const std::optional<std::string> key = helper ? helper->getKey() : std::nullopt;
    std::optional<std::string> value = helper ? helper->getValue() : std::nullopt;
    if (!key) continue;
    // The body must be UTF-8: a value that is not is stored as an absent one,
    // so that no single value can cost the whole profile.
    variables.Set(*key, rqb::TextOrNil(std::move(value)).value_or(""));
  }
  return variables;
}

void RQBIdentifyManager::RunCollection() {
  try {
    rqb::JsonObject envelope;
    envelope.Set("Variables", getDeviceData());
    envelope.Set("SessionID", sessionId());
    envelope.Set("App", app());
    RQBHttpService::getInstance().setTimeout(requestTimeout());
    // Handed over whole: the run has no further use for it.
    RQBHttpService::getInstance().sendDeviceFullInfo(std::move(envelope));
  } catch (const std::exception& exception) {
    // what() is the exception's description: for an RQBException its reason.
    rqb::LogMessage(std::string("captureDeviceIdentifier Exception: ") + exception.what());
  }
}

std::optional<std::string> RQBIdentifyManager::app() const { return app_.Load(); }

// Fixed: the host's request time-out goes to the upload service, never here.
std::optional<double> RQBIdentifyManager::requestTimeout() const { return 10; }

std::optional<std::string> RQBIdentifyManager::sessionId() const { return sessionId_.Load(); }
