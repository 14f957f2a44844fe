// The location code: the geolocation service's authorization codes and its
// manager, which only exists once the main queue has been served; the
// collector's record, its timestamp under the device's week rules and time
// zone, and what makes it "{}".
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <limits>
#include <locale>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "DataHelpers/RQBLocationDataHelper.h"
#include "FakeLocationPlatform.h"
#include "Platform/linux/IcuDateFormatter.h"
#include "RQBehavior/RQBehavior.h"
#include "Utils/Geolocation/RQBGeolocation.h"
#include "Utils/Text/NumberText.h"

namespace rqb {
namespace {

using namespace std::chrono;
using namespace std::chrono_literals;

class Geolocation : public ::testing::Test {
 protected:
  test::FakeLocationPlatform fakes_;
};

TEST_F(Geolocation, MapsStatusesToCodesAndOnlyAuthorizedApplicationsReachTheManager) {
  RQBGeolocation geolocation;
  RQBehavior::drainMainQueue();
  // Every status the platform knows, and values it never uses.
  const std::pair<std::int32_t, std::int32_t> kStatusAndCode[] = {
      {0, -3}, {1, -1},  {2, -2},         {3, 1},         {4, 0},
      {5, -3}, {-1, -3}, {INT32_MAX, -3}, {INT32_MIN, -3}};
  for (const auto& [status, code] : kStatusAndCode) {
    SCOPED_TRACE(status);
    fakes_.location.status = status;
    fakes_.location.enabled = true;
    const int reads_before = fakes_.location.cached_location_reads;
    EXPECT_EQ(geolocation.getAuthorizationStatusCode(), code);
    const bool authorized = code == 0 || code == 1;
    EXPECT_EQ(geolocation.getLastLocation().has_value(), authorized);
    fakes_.location.enabled = false;
    EXPECT_EQ(geolocation.getAuthorizationStatusCode(), -4);
    EXPECT_FALSE(geolocation.getLastLocation());
    EXPECT_EQ(fakes_.location.cached_location_reads - reads_before, authorized ? 1 : 0)
        << "the manager is read only when authorized and services are on";
  }
}

TEST_F(Geolocation, EveryConstructionEndsInANewManagerAndTheLastOneStays) {
  RQBGeolocation first;
  RQBehavior::drainMainQueue();
  const std::weak_ptr<LocationManager> earlier = geoLocationManager().Load();
  const std::shared_ptr<DateFormatter> first_formatter = dateFormatter().Load();
  RQBGeolocation second;
  EXPECT_NE(dateFormatter().Load(), first_formatter) << "the formatter is replaced at once";

  EXPECT_EQ(RQBehavior::drainMainQueue(), 1u);
  EXPECT_EQ(fakes_.location.managers_created, 2);
  EXPECT_TRUE(geoLocationManager().Load());
  EXPECT_TRUE(earlier.expired()) << "the second manager replaced the first, which is released";
}

// 2021-01-21 14:03:07 in São Paulo (UTC-3).
Location SaoPauloFix(double course = 181.5, double speed = 0.75, std::optional<long> floor = {}) {
  const sys_seconds when = sys_days{2021y / January / 21} + 17h + 3min + 7s;
  return {-23.5505, -46.6333, 760.5, when, 65, 10, course, speed, floor};
}

const std::string kHead =
    R"({ "lat": -23.5505, "lot": -46.6333, "alt": 760.5, "ts": 2021-01-21T14:03:07-0300, )"
    R"("hac": 65, "vac": 10, )";

class LocationDataHelper : public ::testing::Test {
 protected:
  LocationDataHelper() {
    // An authorized application whose manager the main thread has created.
    RQBGeolocation geolocation;
    fakes_.main_queue.Drain();
  }

  std::string ValueFor(const std::optional<Location>& location) {
    fakes_.location.location = location;
    return RQBLocationDataHelper().getValue().value();
  }

  test::FakeLocationPlatform fakes_;
};

TEST_F(LocationDataHelper, WritesTheRecordByteForByteUnlessTheCourseIsExactlyZero) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const std::pair<Location, std::string> cases[] = {
      {SaoPauloFix(), kHead + R"("c": 181.5, "s": 0.75 })"},
      {SaoPauloFix(-1, -1, 2), kHead + R"("c": -1, "s": -1, "fl": 2 })"},
      {SaoPauloFix(181.5, 0.75, 0), kHead + R"("c": 181.5, "s": 0.75, "fl": 0 })"},
      {SaoPauloFix(nan), kHead + R"("c": nan, "s": 0.75 })"},
      {SaoPauloFix(0.0, 0.75, 3), "{}"},  // due north
      {SaoPauloFix(-0.0), "{}"},
  };
  for (const auto& [fix, text] : cases) {
    SCOPED_TRACE(testing::Message() << "course " << fix.course);
    EXPECT_EQ(ValueFor(fix), text);
  }
  EXPECT_EQ(ValueFor(std::nullopt), "{}");
  fakes_.location.status = kLocationDenied;
  EXPECT_EQ(ValueFor(SaoPauloFix()), "{}");
}

// Collection runs overlap: formatters and the shared manager are used from
// several threads at once (ThreadSanitizer watches this test).
TEST_F(LocationDataHelper, OverlappingRunsAllWriteTheSameRecord) {
  fakes_.location.location = SaoPauloFix();
  std::vector<std::string> values(4);
  std::vector<std::thread> runs;
  for (std::string& value : values) {
    runs.emplace_back([&value] {
      for (int repeat = 0; repeat < 20; ++repeat) value = *RQBLocationDataHelper().getValue();
    });
  }
  // Meanwhile the main thread replaces the manager the runs read.
  for (int repeat = 0; repeat < 20; ++repeat) fakes_.main_queue.Drain();
  for (std::thread& run : runs) run.join();
  for (const std::string& value : values) EXPECT_EQ(value, kHead + R"("c": 181.5, "s": 0.75 })");
}

TEST(IcuDateFormatter, WritesTheWeekBasedYearAndZoneOffsetUnderTheDeviceSettings) {
  // 09:15 in Berlin (UTC+1) on the last Sunday of 2020, and noon on New
  // Year's Day 2021. The week rules come from the settings, not the locale:
  // Sunday first with one day (US rules), or Monday first with four (ISO).
  const sys_seconds sunday = sys_days{2020y / December / 27} + 8h + 15min;
  const sys_seconds new_year = sys_days{2021y / January / 1} + 11h;
  // Each setting differs from another in one part only, and formatters with
  // equal settings share one ICU formatter: none may write in another's
  // locale, zone or week rules, in whatever order they are used.
  const std::tuple<CalendarSettings, system_clock::time_point, const char*> cases[] = {
      {{"de_DE", "Europe/Berlin", 1, 1}, sunday, "2021-12-27T09:15:00+0100"},
      {{"de_DE", "Europe/Berlin", 2, 4}, sunday, "2020-12-27T09:15:00+0100"},
      {{"de_DE", "Europe/Berlin", 2, 1}, sunday, "2020-12-27T09:15:00+0100"},
      {{"de_DE", "Europe/Berlin", 1, 4}, sunday, "2020-12-27T09:15:00+0100"},
      {{"de_DE", "Asia/Kolkata", 2, 4}, sunday, "2020-12-27T13:45:00+0530"},
      {{"en_US", "Europe/Berlin", 2, 4}, new_year, "2020-01-01T12:00:00+0100"},
      {{"ar_EG", "Europe/Berlin", 2, 4}, new_year, "٢٠٢٠-٠١-٠١T١٢:٠٠:٠٠+0100"},
      // Fractions of a second are dropped, not rounded.
      {{"en_IN", "Asia/Kolkata", 1, 1}, new_year + 5s + 999ms, "2021-01-01T16:30:05+0530"},
  };
  for (int round = 0; round < 3; ++round) {
    for (const auto& [settings, date, text] : cases) {
      EXPECT_EQ(IcuDateFormatter(kTimestampPattern, settings).StringFromDate(date), text)
          << settings.locale << " " << settings.time_zone << " " << settings.first_weekday
          << settings.minimal_days_in_first_week;
    }
  }
  EXPECT_EQ(IcuDateFormatter("yyyy", {"de_DE", "Europe/Berlin", 1, 1}).StringFromDate(sunday),
            "2020")
      << "another pattern, same settings";
}

// A host's locale whose numbers use a decimal comma.
struct DecimalComma : std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
};

TEST(DoubleDescription, WritesDoublesAsThePlatformDescribesThemWhateverTheHostsLocale) {
  const std::locale host_locale = std::locale::global(std::locale(std::locale(), new DecimalComma));
  // 16 significant digits, not the shortest round trip; whole values carry no ".0".
  const std::pair<double, const char*> cases[] = {{65.0, "65"},
                                                  {760.5, "760.5"},
                                                  {68.32, "68.31999999999999"},
                                                  {1e20, "1e+20"},
                                                  {1e-7, "1e-07"},
                                                  {123456789012345678.0, "1.234567890123457e+17"},
                                                  {-0.0, "-0"},
                                                  {std::numeric_limits<double>::infinity(), "inf"}};
  for (const auto& [value, text] : cases) {
    EXPECT_EQ(DoubleDescription(value), text);
    // The form used where the standard library cannot write doubles itself.
    EXPECT_EQ(DoubleDescriptionThroughStream(value), text);
  }
  std::locale::global(host_locale);
}

}  // namespace
}  // namespace rqb
