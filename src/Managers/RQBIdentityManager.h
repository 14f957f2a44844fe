// The session manager behind the facade, and the collection run it starts.
#pragma once

#include <optional>
#include <string>

#include "RQBehavior/RQBExport.h"
#include "Utils/Guarded.h"
#include "Utils/Json/JsonObject.h"

// Holds the session settings, validates the session identifier, forwards the
// settings to the upload service and starts collection runs. Process-wide,
// created on first use and never destroyed.
class RQB_EXPORT RQBIdentifyManager {
 public:
  static RQBIdentifyManager& getInstance();

  // Stores `app` without validation and forwards it to the upload service.
  void setApp(std::optional<std::string> app);
  // Stores and forwards `sessionId` when it holds at least 6 UTF-16 code
  // units; otherwise throws RQBException "NoSessionID" and keeps the
  // previous identifier.
  void setSessionId(std::optional<std::string> sessionId);
  // Forwards `requestTimeout` to the upload service only: requestTimeout()
  // stays 10 and uploads keep their 10-second time-outs.
  void setRequestTimeout(std::optional<double> requestTimeout);

  // A new random version-4 UUID text, upper case, 36 characters.
  std::string generateSessionId();

  // Schedules one collection run on the background queue and returns. The run
  // reads the session settings only when it builds the envelope, after every
  // collector has answered. Runs are not serialised.
  void collectDeviceInformation();

  // The collection step of a run: every registered collector's key and value,
  // in registry order; later keys replace earlier ones.
  rqb::JsonObject getDeviceData();

  std::optional<std::string> app() const;
  std::optional<double> requestTimeout() const;
  std::optional<std::string> sessionId() const;

  RQBIdentifyManager(const RQBIdentifyManager&) = delete;
  RQBIdentifyManager& operator=(const RQBIdentifyManager&) = delete;

 private:
  RQBIdentifyManager() = default;
  ~RQBIdentifyManager() = default;

  // The background task: collect, wrap into the envelope, upload. Any
  // std::exception ends it with one log line and no upload.
  void RunCollection();

  rqb::Guarded<std::optional<std::string>> app_;
  rqb::Guarded<std::optional<std::string>> sessionId_;
};
