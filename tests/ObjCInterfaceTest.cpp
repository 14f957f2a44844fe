// What the Objective-C class does between its methods and the facade: the
// order of the steps, nil, UTF-16 texts, the refusal it raises, and one state
// shared with the C++ and C interfaces.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "FakePlatform.h"
#include "Platform/LogSink.h"
#include "RQBehavior/RQBehavior.h"
#include "RQBehavior/rqbehavior_c.h"
#include "RQBehaviorObjCInterface.h"
#include "Services/RQBHttpService.h"
#include "Utils/Text/Utf8.h"

namespace rqb {
namespace {

using test::PlatformTest;

class ObjCInterface : public PlatformTest {
 protected:
  ~ObjCInterface() override { objc::SetLogHandler(nullptr); }

  std::string Body(std::size_t task) const { return sessions_.Tasks().at(task).request.http_body; }
};

TEST_F(ObjCInterface, AnIdentifierThatIsNoTextComesBackAsNoSessionIdAndUtf16TextIsUploaded) {
  objc::GetInstance(u"shop-app-01");
  const std::u16string accepted = objc::GenerateSessionId();
  ASSERT_EQ(accepted.size(), 36u);
  ASSERT_EQ(objc::CollectDeviceInformation(accepted), std::nullopt);
  EXPECT_EQ(background_.RunAll(), 1u);

  // Six units, but a lone surrogate is no text: the facade is given nil.
  // (What the facade refuses is its own test.)
  const std::optional<objc::Refusal> refusal =
      objc::CollectDeviceInformation(std::u16string(u"abcde\xD800"));
  ASSERT_TRUE(refusal.has_value());
  EXPECT_EQ(refusal->name, u"NoSessionID");
  EXPECT_EQ(refusal->reason, Utf8ToUtf16(UNDEFINED_SESSION_ID_ERR_MESSAGE));
  EXPECT_EQ(refusal->code, objc::ErrorCode::kNoSessionId);
  EXPECT_EQ(background_.RunAll(), 0u);
  EXPECT_EQ(objc::SessionId(), std::nullopt);

  // Six code units in three characters are enough.
  EXPECT_EQ(objc::CollectDeviceInformation(u"\U0001F600\U0001F601\U0001F602"), std::nullopt);
  EXPECT_EQ(background_.RunAll(), 1u);
  ASSERT_EQ(sessions_.Tasks().size(), 2u);
  EXPECT_NE(Body(1).find("\"SessionID\" : \"\xF0\x9F\x98\x80\xF0\x9F\x98\x81\xF0\x9F\x98\x82\""),
            std::string::npos);
  EXPECT_NE(Body(1).find("\"App\" : \"shop-app-01\""), std::string::npos);
}

TEST_F(ObjCInterface, TheClassTheCppFacadeAndTheCInterfaceShareOneState) {
  RQBehavior::getInstance("cpp-app");
  EXPECT_EQ(objc::App(), u"cpp-app");
  objc::GetInstance(std::nullopt);  // replaces the identifier, nil included
  EXPECT_EQ(objc::App(), std::nullopt);

  // The plain setter stores only; the next run through the C interface,
  // which does not name the application, uploads it.
  objc::SetApp(u"caf\u00E9-app");
  EXPECT_EQ(background_.RunAll(), 0u);
  ASSERT_EQ(rqb_collect_device_information("session-1", nullptr), RQB_OK);
  EXPECT_EQ(background_.RunAll(), 1u);
  ASSERT_EQ(sessions_.Tasks().size(), 1u);
  EXPECT_NE(Body(0).find("\"App\" : \"caf\xC3\xA9-app\""), std::string::npos);
  EXPECT_EQ(objc::SessionId(), u"session-1");

  objc::SetRequestTimeout(30);
  EXPECT_EQ(RQBHttpService::getInstance().requestTimeout(), 30);
}

TEST_F(ObjCInterface, FlushWaitsForEarlierUploadsAndTakesAnyTimeInterval) {
  objc::GetInstance(u"shop-app-01");
  ASSERT_EQ(objc::CollectDeviceInformation(u"session-1"), std::nullopt);
  background_.RunAll();
  ASSERT_EQ(sessions_.Tasks().size(), 1u);
  for (const double pending :
       {std::nan(""), -1.0, -std::numeric_limits<double>::infinity(), 0.02}) {
    EXPECT_FALSE(objc::Flush(pending)) << pending;
  }
  sessions_.Tasks().front().completion(std::nullopt, UrlResponse{true, 200}, std::nullopt);
  EXPECT_TRUE(objc::Flush(std::numeric_limits<double>::infinity()));
  EXPECT_TRUE(objc::Flush(0));
}

TEST_F(ObjCInterface, TheLogHandlerGetsEachMessageAsUtf16UntilItIsRemoved) {
  std::vector<std::u16string> seen;
  objc::SetLogHandler([&](std::u16string_view message) { seen.emplace_back(message); });
  LogMessage("variables POST ERROR: caf\xC3\xA9 \xFF");
  EXPECT_EQ(seen, std::vector<std::u16string>{u"variables POST ERROR: caf\u00E9 \uFFFD"});
  EXPECT_TRUE(log_.Lines().empty());

  objc::SetLogHandler(nullptr);
  LogMessage("variables POST ERROR: again");
  EXPECT_EQ(seen.size(), 1u);
  EXPECT_EQ(log_.Lines(), std::vector<std::string>{"variables POST ERROR: again"});
}

}  // namespace
}  // namespace rqb
