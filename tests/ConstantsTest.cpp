// The exported constants hold the texts hosts and the profiling service
// know them by. The iOS build exports the same table as NSString objects.
// The profile's keys come from that table too, and the profile's test pins
// every one of them as it is uploaded; only one stands here for the rest.
#include <gtest/gtest.h>

#include <utility>

#include "RQBehavior/RQBConstants.h"

namespace {

TEST(Constants, HoldTheirPublishedTextsByteForByte) {
  EXPECT_EQ(RQBehaviorVersionNumber, 3.0);
  EXPECT_STREQ(reinterpret_cast<const char*>(RQBehaviorVersionString),
               "@(#)PROGRAM:RQBehavior  PROJECT:RQBehavior-3.0.2-rc.1\n");

  const std::pair<const char*, const char*> texts[] = {
      {RQBVARPlatform, "Platform"},
      {RQBVAROSVersion, "OSVersion"},  // no collector reports under it
      {RQBVARJailBroken, "JailBroken"},
      {RQ_BEHAVIOR_ERROR_DOMAIN, "zeta.vorn.behavior.ios"},
      {UNDEFINED_APP_ID_ERR_MESSAGE,
       "Undefined App. Please, set \"App\" property at least once to use RQBehavior"},
      {UNDEFINED_SESSION_ID_ERR_MESSAGE,
       "Undefined SessionId. SessionId must not be null and must be a min length of 6 "
       "characters."},
      {EXTERNAL_SETTINGS_NOT_FOUND, "External Settings not found!"},
      {API_ERROR, "API ERROR: %li"},
      {DeviceGeneratedTag, "zeta.vorn.antifraud.auth"},
  };
  for (const auto& [exported, expected] : texts) EXPECT_STREQ(exported, expected);
}

}  // namespace
