// Upload of one device profile with one HTTPS POST.
#pragma once

#include <optional>
#include <string>

#include "Platform/UrlSession.h"
#include "RQBehavior/RQBExport.h"
#include "Utils/Guarded.h"
#include "Utils/Json/JsonObject.h"

// The process-wide upload service. Fire and forget: nothing is returned,
// nothing is retried, and a transport error leaves one log line.
class RQB_EXPORT RQBHttpService {
 public:
  static RQBHttpService& getInstance();

  // Posts `envelope` to the endpoint "variables" under the build's base URL.
  void sendDeviceFullInfo(const std::optional<rqb::JsonObject>& envelope);

  // One upload of `data` to `url` followed directly by `endPoint`: prepares
  // the request, starts it in a new URL session and returns at once. Without
  // a body nothing is sent.
  void postData(const std::optional<rqb::JsonObject>& data, const char* url,
                const std::string& endPoint);

  // A POST request carrying `data` (an empty object when absent or empty) as
  // pretty-printed JSON with the Accept, Content-Type and Content-Length
  // headers, in that order; nothing when `data` cannot be serialised. The URL
  // is left unset.
  std::optional<rqb::UrlRequest> preparePost(const std::optional<rqb::JsonObject>& data);

  // An ephemeral configuration whose request and resource time-outs are both
  // `timeout` cut to whole seconds (0 when absent).
  rqb::UrlSessionConfiguration getSessionConfiguration();

  // Time-out of the uploads, in seconds; set by every collection run.
  std::optional<double> timeout() const;
  void setTimeout(std::optional<double> timeout);
  // Settings forwarded by the identify manager. Kept, never read: the
  // envelope carries the identifiers and `timeout` alone sets the time-outs.
  std::optional<std::string> app() const;
  void setApp(std::optional<std::string> app);
  std::optional<std::string> sessionId() const;
  void setSessionId(std::optional<std::string> sessionId);
  std::optional<double> requestTimeout() const;
  void setRequestTimeout(std::optional<double> requestTimeout);

  RQBHttpService(const RQBHttpService&) = delete;
  RQBHttpService& operator=(const RQBHttpService&) = delete;

 private:
  RQBHttpService() = default;
  ~RQBHttpService() = default;

  rqb::Guarded<std::optional<double>> timeout_;
  rqb::Guarded<std::optional<std::string>> app_;
  rqb::Guarded<std::optional<std::string>> sessionId_;
  rqb::Guarded<std::optional<double>> requestTimeout_;
};
