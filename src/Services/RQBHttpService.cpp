#include "Services/RQBHttpService.h"

#include <cmath>
#include <cstdio>
#include <limits>
#include <utility>

#include "Constants/RQBBuildConfig.h"
#include "Constants/RQBConstantTexts.h"
#include "Managers/WorkInFlight.h"
#include "Platform/ForkGate.h"
#include "Platform/LogSink.h"
#include "Platform/Platform.h"
#include "Utils/Json/PrettyJsonWriter.h"
#include "Utils/Text/Utf8.h"

namespace {

constexpr char kProfilerBaseUrl[] = RQB_PROFILER_BASE_URL;
constexpr char kVariablesEndPoint[] = "variables";

// The platform number's integerValue: the double cut toward zero, saturated.
long IntegerValue(double value) {
  if (std::isnan(value)) return 0;
  if (value >= static_cast<double>(std::numeric_limits<long>::max())) {
    return std::numeric_limits<long>::max();
  }
  if (value <= static_cast<double>(std::numeric_limits<long>::min())) {
    return std::numeric_limits<long>::min();
  }
  return static_cast<long>(value);
}

void HandleCompletion(const std::string& endPoint, const std::optional<rqb::UrlResponse>& response,
                      const std::optional<rqb::UrlError>& error) {
  if (error) {
    rqb::LogMessage(endPoint + " POST ERROR: " + error->localized_description);
    return;
  }
  if (response && response->is_http && response->status_code != 200) {
    // A non-200 answer is deliberately silent: the message is formed as an
    // error description and then dropped, never logged nor reported.
    char message[64];
    std::snprintf(message, sizeof message, rqb::text::API_ERROR, response->status_code);
    rqb::JsonObject user_info;
    user_info.Set("NSLocalizedDescription", std::string(message));
  }
}

}  // namespace

RQBHttpService& RQBHttpService::getInstance() {
  return rqb::MakeOnce([] { return new RQBHttpService(); });
}

void RQBHttpService::sendDeviceFullInfo(const std::optional<rqb::JsonObject>& envelope) {
  postData(envelope, kProfilerBaseUrl, kVariablesEndPoint);
}

void RQBHttpService::postData(const std::optional<rqb::JsonObject>& data, const char* url,
                              const std::string& endPoint) {
  const std::string url_text = std::string(url) + endPoint;
  std::optional<rqb::UrlRequest> request = preparePost(data);
  if (!request) return;
  request->url = url_text;
  std::shared_ptr<rqb::UrlSession> session =
      rqb::CurrentPlatform().url_sessions->CreateSession(getSessionConfiguration());
  // The upload is in flight until its completion has run.
  session->StartDataTask(std::move(*request),
                         [endPoint, ticket = rqb::WorkInFlight::Begin()](
                             std::optional<std::string>, std::optional<rqb::UrlResponse> response,
                             std::optional<rqb::UrlError> error) {
                           HandleCompletion(endPoint, response, error);
                           ticket->End();
                         });
}

std::optional<rqb::UrlRequest> RQBHttpService::preparePost(
    const std::optional<rqb::JsonObject>& data) {
  // The envelope is written as it is, without a copy; an absent or empty one
  // as an empty object.
  const rqb::JsonObject empty;
  const rqb::JsonObject& body_object = data && !data->empty() ? *data : empty;
  std::optional<std::string> body = rqb::WritePrettyJson(body_object);
  if (!body) return std::nullopt;

  rqb::UrlRequest request;
  request.http_should_handle_cookies = false;
  request.cache_policy = rqb::UrlRequestCachePolicy::kReloadIgnoringLocalCacheData;
  request.http_method = "POST";
  request.http_body = std::move(*body);
  request.SetValueForHttpHeaderField("application/json", "Accept");
  request.SetValueForHttpHeaderField("application/json; charset=UTF-8", "Content-Type");
  request.SetValueForHttpHeaderField(std::to_string(request.http_body.size()), "Content-Length");
  return request;
}

rqb::UrlSessionConfiguration RQBHttpService::getSessionConfiguration() {
  rqb::UrlSessionConfiguration configuration = rqb::UrlSessionConfiguration::Ephemeral();
  const double seconds = static_cast<double>(IntegerValue(timeout().value_or(0)));
  configuration.timeout_interval_for_resource = seconds;
  configuration.timeout_interval_for_request = seconds;
  return configuration;
}

std::optional<double> RQBHttpService::timeout() const { return timeout_.Load(); }

void RQBHttpService::setTimeout(std::optional<double> timeout) { timeout_.Store(timeout); }

std::optional<std::string> RQBHttpService::app() const { return app_.Load(); }

void RQBHttpService::setApp(std::optional<std::string> app) {
  app_.Store(rqb::TextOrNil(std::move(app)));
}

std::optional<std::string> RQBHttpService::sessionId() const { return sessionId_.Load(); }

void RQBHttpService::setSessionId(std::optional<std::string> sessionId) {
  sessionId_.Store(rqb::TextOrNil(std::move(sessionId)));
}

std::optional<double> RQBHttpService::requestTimeout() const { return requestTimeout_.Load(); }

void RQBHttpService::setRequestTimeout(std::optional<double> requestTimeout) {
  requestTimeout_.Store(requestTimeout);
}
