#include <gtest/gtest.h>

#include "api/Rfc3339.h"

namespace rqbservice {
namespace {

TEST(Rfc3339, ReadsOffsetsAndFractionsAndWritesUtcMicroseconds) {
  const std::int64_t t = 1'611'248'587'000'000;  // 2021-01-21T17:03:07Z
  EXPECT_EQ(ParseRfc3339("2021-01-21T17:03:07Z"), t);
  EXPECT_EQ(ParseRfc3339("2021-01-21T14:03:07-03:00"), t);
  EXPECT_EQ(ParseRfc3339("2021-01-21T22:33:07.25+05:30"), t + 250'000);
  EXPECT_EQ(FormatRfc3339(t + 7), "2021-01-21T17:03:07.000007Z");
  EXPECT_EQ(ParseRfc3339(FormatRfc3339(t + 123'456)), t + 123'456);
  EXPECT_EQ(FormatRfc3339(-1), "1969-12-31T23:59:59.999999Z");
  for (const char* bad :
       {"", "2021-01-21", "2021-01-21T17:03:07", "2021-01-21T17:03:07+0300", "2021-02-30T00:00:00Z",
        "2021-01-21T17:03:07.Z", "2021-01-21T17:03:07Zx", "yesterday"}) {
    EXPECT_EQ(ParseRfc3339(bad), std::nullopt) << bad;
  }
}

}  // namespace
}  // namespace rqbservice
