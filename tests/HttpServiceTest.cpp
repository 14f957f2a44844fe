// The upload service's request, configuration and response handling.
#include <gtest/gtest.h>

#include "Constants/RQBBuildConfig.h"
#include "FakePlatform.h"
#include "Services/RQBHttpService.h"

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
  for (const auto& [timeout, seconds] : std::vector<std::pair<std::optional<double>, double>>{
           {10, 10}, {7.9, 7}, {std::nullopt, 0}}) {
    service_.setTimeout(timeout);
    const UrlSessionConfiguration configuration = service_.getSessionConfiguration();
    EXPECT_EQ(configuration.timeout_interval_for_request, seconds);
    EXPECT_EQ(configuration.timeout_interval_for_resource, seconds);
  }
}

TEST_F(HttpService, OnlyATransportErrorIsLogged) {
  for (int i = 0; i < 4; ++i) service_.sendDeviceFullInfo(JsonObject());
  const auto tasks = sessions_.Tasks();
  ASSERT_EQ(tasks.size(), 4u);
  tasks[0].completion(std::nullopt, std::nullopt, UrlError{"Could not connect to server"});
  // With an error, the response that came with it is ignored.
  tasks[1].completion(std::nullopt, UrlResponse{true, 500}, UrlError{"Connection reset"});
  tasks[2].completion(std::string("ok"), UrlResponse{true, 200}, std::nullopt);
  tasks[3].completion(std::nullopt, UrlResponse{false, 0}, std::nullopt);
  EXPECT_EQ(log_.Lines(),
            (std::vector<std::string>{"variables POST ERROR: Could not connect to server",
                                      "variables POST ERROR: Connection reset"}));
}

}  // namespace
}  // namespace rqb
