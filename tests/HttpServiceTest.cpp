// The upload service's request, configuration and response handling.
#include "Services/RQBHttpService.h"

#include <gtest/gtest.h>

#include "Constants/RQBBuildConfig.h"
#include "FakePlatform.h"

namespace rqb {
namespace {

using test::PlatformTest;

class HttpService : public PlatformTest {
 protected:
  RQBHttpService& service_ = RQBHttpService::getInstance();
};

JsonObject OneVariable(const std::string& value) {
  JsonObject variables;
  variables.Set("DeviceName", value);
  JsonObject envelope;
  envelope.Set("Variables", std::move(variables));
  return envelope;
}

TEST_F(HttpService, PreparesAJsonPostWithItsThreeHeadersInOrder) {
  const std::optional<UrlRequest> request = service_.preparePost(OneVariable("Office box"));
  ASSERT_TRUE(request);
  const std::string body = "{\n  \"Variables\" : {\n    \"DeviceName\" : \"Office box\"\n  }\n}";
  EXPECT_EQ(request->http_body, body);
  EXPECT_EQ(request->http_method, "POST");
  EXPECT_FALSE(request->http_should_handle_cookies);
  EXPECT_EQ(request->cache_policy, UrlRequestCachePolicy::kReloadIgnoringLocalCacheData);
  EXPECT_EQ(request->url, std::nullopt);
  using Fields = std::vector<std::pair<std::string, std::string>>;
  EXPECT_EQ(request->header_fields, (Fields{{"Accept", "application/json"},
                                            {"Content-Type", "application/json; charset=UTF-8"},
                                            {"Content-Length", std::to_string(body.size())}}));
}

TEST_F(HttpService, AnEmptyOrAbsentEnvelopeStillPostsAnEmptyObject) {
  service_.sendDeviceFullInfo(std::nullopt);
  service_.sendDeviceFullInfo(JsonObject());
  ASSERT_EQ(sessions_.Tasks().size(), 2u);
  for (const auto& task : sessions_.Tasks()) {
    EXPECT_EQ(task.request.http_body, "{\n\n}");
    EXPECT_EQ(task.request.url, std::string(RQB_PROFILER_BASE_URL) + "variables");
  }
}

TEST_F(HttpService, TextThatIsNotUtf8SendsNothingAndLogsNothing) {
  service_.sendDeviceFullInfo(OneVariable("box\xFF"));
  EXPECT_TRUE(sessions_.Tasks().empty());
  EXPECT_TRUE(log_.Lines().empty());
}

TEST_F(HttpService, SessionTimeoutsAreTheTimeoutCutToWholeSeconds) {
  const auto timeouts = [&](std::optional<double> timeout) {
    service_.setTimeout(timeout);
    const UrlSessionConfiguration configuration = service_.getSessionConfiguration();
    EXPECT_TRUE(configuration.ephemeral);
    EXPECT_EQ(configuration.timeout_interval_for_request,
              configuration.timeout_interval_for_resource);
    return configuration.timeout_interval_for_request;
  };
  EXPECT_EQ(timeouts(10), 10);
  EXPECT_EQ(timeouts(7.9), 7);
  EXPECT_EQ(timeouts(std::nullopt), 0);
  service_.setTimeout(10);
  service_.setRequestTimeout(30);
  EXPECT_EQ(service_.getSessionConfiguration().timeout_interval_for_request, 10);
}

TEST_F(HttpService, OnlyATransportErrorIsLogged) {
  for (int i = 0; i < 6; ++i) service_.sendDeviceFullInfo(JsonObject());
  const auto tasks = sessions_.Tasks();
  ASSERT_EQ(tasks.size(), 6u);
  tasks[0].completion(std::nullopt, std::nullopt, UrlError{"Could not connect to server"});
  // With an error, the response that came with it is ignored.
  tasks[1].completion(std::nullopt, UrlResponse{true, 500}, UrlError{"Connection reset"});
  for (const long status : {200L, 201L, 204L}) {
    tasks[2].completion(std::string("ok"), UrlResponse{true, status}, std::nullopt);
  }
  tasks[3].completion(std::nullopt, UrlResponse{true, 500}, std::nullopt);
  tasks[4].completion(std::nullopt, UrlResponse{false, 0}, std::nullopt);
  EXPECT_EQ(log_.Lines(), (std::vector<std::string>{"variables POST ERROR: Could not connect to server",
                                                    "variables POST ERROR: Connection reset"}));
}

}  // namespace
}  // namespace rqb
