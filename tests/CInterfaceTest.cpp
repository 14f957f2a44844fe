// The C interface: statuses, error records and caller buffers in place of
// the facade's exceptions and strings.
#include <gtest/gtest.h>

#include <cstring>

#include "FakePlatform.h"
#include "Managers/RQBIdentityManager.h"
#include "RQBehavior/rqbehavior_c.h"
#include "Services/RQBHttpService.h"

namespace rqb {
namespace {

using test::PlatformTest;

class CInterface : public PlatformTest {
 protected:
  ~CInterface() override { rqb_set_log_handler(nullptr, nullptr); }
};

TEST_F(CInterface, ARefusedSessionIdentifierBecomesAnErrorForTheCallerToFree) {
  ASSERT_EQ(rqb_set_app("c-app"), RQB_OK);
  for (const char* refused : {static_cast<const char*>(nullptr), "12345", "abcdef\xFF"}) {
    SCOPED_TRACE(refused ? refused : "NULL");
    rqb_error* error = nullptr;
    EXPECT_EQ(rqb_collect_device_information(refused, &error), RQB_EXCEPTION);
    ASSERT_NE(error, nullptr);
    EXPECT_STREQ(error->name, "NoSessionID");
    EXPECT_STREQ(error->reason, UNDEFINED_SESSION_ID_ERR_MESSAGE);
    rqb_error_free(error);
    EXPECT_EQ(rqb_collect_device_information(refused, nullptr), RQB_EXCEPTION);
  }
  EXPECT_EQ(background_.RunAll(), 0u);
}

TEST_F(CInterface, RunsUseTheApplicationIdentifierAndTheSettingsGiven) {
  ASSERT_EQ(rqb_set_app("c-app"), RQB_OK);
  ASSERT_EQ(rqb_set_request_timeout(30), RQB_OK);
  rqb_error stale{};
  rqb_error* error = &stale;
  EXPECT_EQ(rqb_collect_device_information("session-1", &error), RQB_OK);
  EXPECT_EQ(error, nullptr);
  EXPECT_EQ(background_.RunAll(), 1u);
  ASSERT_EQ(sessions_.Tasks().size(), 1u);
  EXPECT_NE(sessions_.Tasks().front().request.http_body.find("\"App\" : \"c-app\""),
            std::string::npos);
  EXPECT_EQ(RQBHttpService::getInstance().requestTimeout(), 30);
  EXPECT_EQ(rqb_flush(20), RQB_TIMED_OUT) << "the upload has not completed yet";
  sessions_.Tasks().front().completion(std::nullopt, UrlResponse{true, 200}, std::nullopt);
  EXPECT_EQ(rqb_flush(10'000), RQB_OK);

  ASSERT_EQ(rqb_clear_request_timeout(), RQB_OK);
  EXPECT_EQ(RQBHttpService::getInstance().requestTimeout(), std::nullopt);
  ASSERT_EQ(rqb_set_app(nullptr), RQB_OK);
  EXPECT_EQ(rqb_collect_device_information("session-2", nullptr), RQB_OK);
  EXPECT_EQ(RQBIdentifyManager::getInstance().app(), std::nullopt);
}

TEST_F(CInterface, ASessionIdentifierIsWrittenOnlyIntoABufferThatHoldsIt) {
  char buffer[RQB_SESSION_ID_SIZE + 1];
  std::memset(buffer, 'x', sizeof buffer);
  EXPECT_EQ(rqb_generate_session_id(buffer, RQB_SESSION_ID_SIZE - 1), RQB_BUFFER_TOO_SMALL);
  EXPECT_EQ(buffer[0], 'x');
  EXPECT_EQ(rqb_generate_session_id(nullptr, sizeof buffer), RQB_INVALID_ARGUMENT);
  EXPECT_EQ(rqb_generate_session_id(buffer, RQB_SESSION_ID_SIZE), RQB_OK);
  EXPECT_EQ(std::strlen(buffer), 36u);
  EXPECT_EQ(buffer[RQB_SESSION_ID_SIZE], 'x');
}

// Each message as "text (length) time program[process:thread]".
void Record(const rqb_log_message* message, void* context) {
  static_cast<std::vector<std::string>*>(context)->push_back(
      std::string(message->text) + " (" + std::to_string(message->text_length) + ") " +
      std::to_string(message->unix_time_ns) + " " + message->program + "[" +
      std::to_string(message->process_id) + ":" + std::to_string(message->thread_id) + "]");
}

TEST_F(CInterface, TheLogHandlerGetsTheTextThePrefixPartsAndItsContext) {
  std::vector<std::string> seen;
  ASSERT_EQ(rqb_set_log_handler(Record, &seen), RQB_OK);
  LogMessage("variables POST ERROR: refused");
  EXPECT_EQ(seen, std::vector<std::string>{
                      "variables POST ERROR: refused (29) 1700000000000000000 shop[812:815]"});
  EXPECT_TRUE(log_.Lines().empty());

  ASSERT_EQ(rqb_set_log_handler(nullptr, nullptr), RQB_OK);
  LogMessage("variables POST ERROR: again");
  EXPECT_EQ(seen.size(), 1u);
  EXPECT_EQ(log_.Lines(), std::vector<std::string>{"variables POST ERROR: again"});
}

}  // namespace
}  // namespace rqb
