// The facade and the identify manager: identifiers, validation, time-outs.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "FakePlatform.h"
#include "Managers/RQBIdentityManager.h"
#include "RQBehavior/RQBehavior.h"
#include "Services/RQBHttpService.h"

namespace rqb {
namespace {

using test::PlatformTest;

class SessionControl : public PlatformTest {};

TEST_F(SessionControl, IdentifiersOfFewerThanSixUtf16UnitsRaiseNoSessionIdAndScheduleNothing) {
  RQBehavior& behavior = RQBehavior::getInstance("shop-app-01");
  const std::string three_outside_the_bmp = "\xF0\x9F\x98\x80\xF0\x9F\x98\x81\xF0\x9F\x98\x82";
  behavior.collectDeviceInformation("abcdef");
  behavior.collectDeviceInformation(three_outside_the_bmp);  // six units
  EXPECT_EQ(background_.RunAll(), 2u);

  const std::optional<std::string> refused[] = {
      std::nullopt, "12345",
      "\xF0\x9F\x98\x80\xF0\x9F\x98\x81"
      "a",           // two characters outside the BMP and one inside: 5 units
      "abcdef\xFF",  // not UTF-8, so not text at all
  };
  for (const std::optional<std::string>& sessionId : refused) {
    SCOPED_TRACE(testing::PrintToString(sessionId));
    try {
      behavior.collectDeviceInformation(sessionId);
      ADD_FAILURE() << "accepted";
    } catch (const RQBException& exception) {
      EXPECT_EQ(exception.name(), "NoSessionID");
      EXPECT_EQ(exception.reason(), UNDEFINED_SESSION_ID_ERR_MESSAGE);
    }
    // The facade keeps what it was given (text only); the manager and the
    // upload service keep the last accepted identifier.
    const bool is_text = !sessionId || sessionId->find('\xFF') == std::string::npos;
    EXPECT_EQ(behavior.sessionId(), is_text ? sessionId : std::nullopt);
    EXPECT_EQ(RQBIdentifyManager::getInstance().sessionId(), three_outside_the_bmp);
    EXPECT_EQ(RQBHttpService::getInstance().sessionId(), three_outside_the_bmp);
    EXPECT_EQ(background_.RunAll(), 0u);
  }
}

TEST_F(SessionControl, GeneratedSessionIdsAreDistinctUpperCaseVersion4Uuids) {
  RQBehavior& behavior = RQBehavior::getInstance("shop-app-01");
  std::set<std::string> seen;
  for (int i = 0; i < 100; ++i) {
    const std::string id = behavior.generateSessionId();
    EXPECT_THAT(id, testing::MatchesRegex(test::kUuidPattern));
    seen.insert(id);
  }
  EXPECT_EQ(seen.size(), 100u);
}

TEST_F(SessionControl, HostRequestTimeoutIsKeptButUploadsUseTenSeconds) {
  RQBehavior& behavior = RQBehavior::getInstance("shop-app-01");
  RQBIdentifyManager& manager = RQBIdentifyManager::getInstance();
  EXPECT_EQ(manager.requestTimeout(), 10);
  behavior.setRequestTimeout(30);
  EXPECT_EQ(manager.requestTimeout(), 10);
  EXPECT_EQ(RQBHttpService::getInstance().requestTimeout(), 30);

  behavior.collectDeviceInformation("session-1");
  background_.RunAll();
  ASSERT_EQ(sessions_.Tasks().size(), 1u);
  const UrlSessionConfiguration configuration = sessions_.Tasks()[0].configuration;
  EXPECT_EQ(configuration.timeout_interval_for_request, 10);
  EXPECT_EQ(configuration.timeout_interval_for_resource, 10);
}

}  // namespace
}  // namespace rqb
