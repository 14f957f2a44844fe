// The upload service's request, configuration and response handling.
#include <gtest/gtest.h>

#include "FakePlatform.h"
#include "Services/RQBHttpService.h"

namespace rqb {
namespace {

using test::PlatformTest;

class HttpService : public PlatformTest {
 protected:
  RQBHttpService& service_ = RQBHttpService::getInstance();
};

TEST_F(HttpService, AnEmptyOrAbsentEnvelopeStillPostsAnEmptyObject) {
  service_.sendDeviceFullInfo(std::nullopt);
  service_.sendDeviceFullInfo(JsonObject());
  ASSERT_EQ(sessions_.Tasks().size(), 2u);
  for (const auto& task : sessions_.Tasks()) EXPECT_EQ(task.request.http_body, "{\n\n}");
}

TEST_F(HttpService, TextThatIsNotUtf8SendsNothingAndLogsNothing) {
  JsonObject envelope;
  envelope.Set("DeviceName", std::string("box\xFF"));
  service_.sendDeviceFullInfo(envelope);
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

// A transport error is logged even when an answer other than 200 came before
// it, which alone is silent (the loopback upload tests show both through
// libcurl).
TEST_F(HttpService, ATransportErrorIsLoggedWhateverAnswerCameWithIt) {
  service_.sendDeviceFullInfo(JsonObject());
  ASSERT_EQ(sessions_.Tasks().size(), 1u);
  sessions_.Tasks()[0].completion(std::nullopt, UrlResponse{true, 500},
                                  UrlError{"Connection reset"});
  EXPECT_EQ(log_.Lines(), std::vector<std::string>{"variables POST ERROR: Connection reset"});
}

}  // namespace
}  // namespace rqb
