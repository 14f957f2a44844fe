// The location collector: the record's text, its timestamp under the device's
// week rules and time zone, and what makes it "{}".
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <vector>

#include "DataHelpers/RQBDataHelperRegistry.h"
#include "DataHelpers/RQBLocationDataHelper.h"
#include "FakeLocationPlatform.h"
#include "FakePlatform.h"
#include "RQBehavior/RQBConstants.h"
#include "RQBehavior/RQBehavior.h"
#include "Utils/Date/DateFormatter.h"
#include "Utils/Geolocation/RQBGeolocation.h"
#include "Utils/Text/NumberText.h"

namespace rqb {
namespace {

using namespace std::chrono;
using namespace std::chrono_literals;

// 2021-01-21 14:03:07 in São Paulo (UTC-3).
constexpr sys_seconds kSaoPauloAfternoon = sys_days{2021y / January / 21} + 17h + 3min + 7s;

Location SaoPauloFix() {
  Location fix;
  fix.latitude = -23.5505;
  fix.longitude = -46.6333;
  fix.altitude = 760.5;
  fix.timestamp = kSaoPauloAfternoon;
  fix.horizontal_accuracy = 65;
  fix.vertical_accuracy = 10;
  fix.course = 181.5;
  fix.speed = 0.75;
  return fix;
}

constexpr char kSaoPauloRecord[] =
    R"({ "lat": -23.5505, "lot": -46.6333, "alt": 760.5, "ts": 2021-01-21T14:03:07-0300, )"
    R"("hac": 65, "vac": 10, "c": 181.5, "s": 0.75 })";

class LocationDataHelper : public ::testing::Test {
 protected:
  LocationDataHelper() {
    // An authorized application whose manager the main thread has created.
    RQBGeolocation geolocation;
    fakes_.main_queue.Drain();
  }

  std::string ValueFor(const std::optional<Location>& location) {
    fakes_.location.SetCachedLocation(location);
    return RQBLocationDataHelper().getValue().value();
  }

  test::FakeLocationPlatform fakes_;
};

TEST_F(LocationDataHelper, WritesTheWorkedExamplesByteForByte) {
  EXPECT_EQ(RQBLocationDataHelper().getKey(), "Location");
  EXPECT_EQ(ValueFor(SaoPauloFix()), kSaoPauloRecord);

  Location unknown_heading = SaoPauloFix();
  unknown_heading.course = -1;
  unknown_heading.speed = -1;
  unknown_heading.floor_level = 2;
  EXPECT_EQ(ValueFor(unknown_heading),
            R"({ "lat": -23.5505, "lot": -46.6333, "alt": 760.5, "ts": 2021-01-21T14:03:07-0300, )"
            R"("hac": 65, "vac": 10, "c": -1, "s": -1, "fl": 2 })");
}

TEST_F(LocationDataHelper, ACourseOfExactlyZeroHidesTheWholeLocation) {
  for (const double course : {0.0, -0.0}) {
    Location due_north = SaoPauloFix();
    due_north.course = course;
    due_north.floor_level = 3;
    EXPECT_EQ(ValueFor(due_north), "{}");
  }
  Location no_course = SaoPauloFix();
  no_course.course = std::numeric_limits<double>::quiet_NaN();
  EXPECT_NE(ValueFor(no_course).find(R"("c": nan, )"), std::string::npos);
}

TEST_F(LocationDataHelper, EndsWithTheFloorOnlyWhenItIsKnown) {
  Location fix = SaoPauloFix();
  fix.floor_level = -2;  // below ground
  EXPECT_TRUE(ValueFor(fix).ends_with(R"("s": 0.75, "fl": -2 })"));
  fix.floor_level = 0;
  EXPECT_TRUE(ValueFor(fix).ends_with(R"("s": 0.75, "fl": 0 })"));
  fix.floor_level.reset();
  EXPECT_TRUE(ValueFor(fix).ends_with(R"("s": 0.75 })"));
}

TEST_F(LocationDataHelper, WithoutAUsableLocationTheValueIsAnEmptyRecord) {
  EXPECT_EQ(ValueFor(std::nullopt), "{}") << "nothing cached";
  fakes_.location.SetCachedLocation(SaoPauloFix());
  for (const std::int32_t status : {0, 1, 2, 5}) {
    fakes_.location.SetStatus(status);
    EXPECT_EQ(RQBLocationDataHelper().getValue(), "{}") << "status " << status;
  }
  fakes_.location.SetStatus(kLocationAuthorizedAlways);
  fakes_.location.SetEnabled(false);
  EXPECT_EQ(RQBLocationDataHelper().getValue(), "{}") << "services off";
}

// Collection runs overlap: formatters and the shared manager are used from
// several threads at once (ThreadSanitizer watches this test).
TEST_F(LocationDataHelper, OverlappingRunsAllWriteTheSameRecord) {
  fakes_.location.SetCachedLocation(SaoPauloFix());
  constexpr int kRuns = 4;
  std::vector<std::string> values(kRuns);
  std::vector<std::thread> runs;
  for (int i = 0; i < kRuns; ++i) {
    runs.emplace_back([&values, i] {
      for (int repeat = 0; repeat < 20; ++repeat) values[i] = *RQBLocationDataHelper().getValue();
    });
  }
  // Meanwhile the main thread replaces the manager the runs read.
  for (int repeat = 0; repeat < 20; ++repeat) fakes_.main_queue.Drain();
  for (std::thread& run : runs) run.join();
  for (const std::string& value : values) EXPECT_EQ(value, kSaoPauloRecord);
}

struct DateCase {
  CalendarSettings settings;
  sys_seconds date;
  const char* text;
};

TEST(DateFormatter, WritesTheWeekBasedYearUnderTheDeviceWeekRules) {
  // 09:15 in Berlin (UTC+1) on the last Tuesday of 2020, and noon on its
  // Monday and on New Year's Day 2021.
  const sys_seconds tuesday = sys_days{2020y / December / 29} + 8h + 15min;
  const sys_seconds monday = sys_days{2020y / December / 28} + 11h;
  const sys_seconds new_year = sys_days{2021y / January / 1} + 11h;
  const CalendarSettings us_rules{"en_US", "Europe/Berlin", 1, 1};
  const CalendarSettings iso_rules{"de_DE", "Europe/Berlin", 2, 4};
  // The rules come from the settings, not from the locale's own data.
  const CalendarSettings german_with_us_rules{"de_DE", "Europe/Berlin", 1, 1};
  const std::vector<DateCase> cases = {
      {us_rules, tuesday, "2021-12-29T09:15:00+0100"},
      {us_rules, monday, "2021-12-28T12:00:00+0100"},
      {us_rules, new_year, "2021-01-01T12:00:00+0100"},
      {iso_rules, tuesday, "2020-12-29T09:15:00+0100"},
      {iso_rules, monday, "2020-12-28T12:00:00+0100"},
      {iso_rules, new_year, "2020-01-01T12:00:00+0100"},
      {german_with_us_rules, tuesday, "2021-12-29T09:15:00+0100"},
  };
  for (const DateCase& date_case : cases) {
    SCOPED_TRACE(date_case.text);
    EXPECT_EQ(DateFormatter(kTimestampPattern, date_case.settings).StringFromDate(date_case.date),
              date_case.text);
  }
}

TEST(DateFormatter, WritesTheZoneOffsetAsSignAndFourDigitsAndDropsFractions) {
  const auto instant = sys_days{2021y / July / 1} + 12h + 0min + 5s + 999ms;
  const std::vector<std::pair<CalendarSettings, const char*>> cases = {
      {{"en_US_POSIX", "Etc/UTC", 1, 1}, "2021-07-01T12:00:05+0000"},
      {{"en_IN", "Asia/Kolkata", 1, 1}, "2021-07-01T17:30:05+0530"},
  };
  for (const auto& [settings, text] : cases) {
    EXPECT_EQ(DateFormatter(kTimestampPattern, settings).StringFromDate(instant), text);
  }
}

TEST(DoubleDescription, WritesDoublesAsThePlatformDescribesThem) {
  const std::vector<std::pair<double, const char*>> cases = {
      {65.0, "65"},  // whole values carry no ".0"
      {0.1 + 0.2, "0.3"},
      {68.32, "68.31999999999999"},  // 16 digits, not the shortest round trip
      {1e20, "1e+20"},
      {1e-7, "1e-07"},
      {123456789012345678.0, "1.234567890123457e+17"},
      {-0.0, "-0"},
  };
  for (const auto& [value, text] : cases) EXPECT_EQ(DoubleDescription(value), text);
}

}  // namespace
}  // namespace rqb
