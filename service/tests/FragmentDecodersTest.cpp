#include <gtest/gtest.h>

#include "profile/FragmentDecoders.h"

namespace rqbservice {
namespace {

using nlohmann::json;

TEST(BatteryDecoder, ReadsStateAndLevelAndTheUnknownLevel) {
  EXPECT_EQ(DecodeBattery(R"({ "s": "c", "l": 85.000000 })"),
            json({{"state", "charging"}, {"level", 85.0}}));
  EXPECT_EQ(DecodeBattery(R"({ "s": "u", "l": 37.000000 })"),
            json({{"state", "unplugged"}, {"level", 37.0}}));
  EXPECT_EQ(DecodeBattery(R"({ "s": "f", "l": 100.000000 })"),
            json({{"state", "full"}, {"level", 100.0}}));
  EXPECT_EQ(DecodeBattery(R"({ "s": "unknown", "l": -100.000000 })"),
            json({{"state", "unknown"}, {"level", nullptr}}));
  for (const char* bad :
       {"", "{}", R"({ "s": "x", "l": 5.0 })", R"({ "s": "c" })", R"({ "s": "c", "l": "5" })",
        R"({ "s": "c", "l": 5.0, "x": 1 })", R"({ "s": "c", "l": 5.0)"}) {
    EXPECT_EQ(DecodeBattery(bad), std::nullopt) << bad;
  }
}

TEST(LocationDecoder, ReadsTheBareDateThePrintedDoublesAndTheFloor) {
  const std::pair<const char*, const char*> cases[] = {
      {R"({ "lat": -23.5505, "lot": -46.6333, "alt": 760.5, "ts": 2021-01-21T14:03:07-0300, "hac": 65, "vac": 10, "c": 181.5, "s": 0.75 })",
       R"({"latitude": -23.5505, "longitude": -46.6333, "altitude": 760.5, "timestamp": "2021-01-21T14:03:07-0300",
           "timestampRfc3339": "2021-01-21T14:03:07-03:00", "horizontalAccuracy": 65.0, "verticalAccuracy": 10.0,
           "course": 181.5, "speed": 0.75, "floor": null})"},
      // Numbers JSON cannot hold are null. The week-based year of 29
      // December depends on the device's week rules: no RFC 3339 time.
      {R"({ "lat": 1e-07, "lot": -inf, "alt": nan, "ts": 2021-12-29T09:15:00+0100, "hac": 1e+20, "vac": -1, "c": -1, "s": -1, "fl": -2 })",
       R"({"latitude": 1e-07, "longitude": null, "altitude": null, "timestamp": "2021-12-29T09:15:00+0100",
           "timestampRfc3339": null, "horizontalAccuracy": 1e20, "verticalAccuracy": -1.0,
           "course": -1.0, "speed": -1.0, "floor": -2})"},
  };
  for (const auto& [sent, decoded] : cases) {
    EXPECT_EQ(DecodeLocation(sent), json::parse(decoded)) << sent;
  }
}

TEST(LocationDecoder, OtherShapesDoNotDecode) {
  const std::string full =
      R"({ "lat": 1, "lot": 2, "alt": 3, "ts": 2021-03-01T00:00:00+0000, "hac": 4, "vac": 5, "c": 6, "s": 7 })";
  for (
      const std::string& bad : std::vector<std::string>{
          std::string(""),
          std::string("{ }x"),
          full.substr(0, full.size() - 2),
          R"({ "lat": 1, "lot": 2, "alt": 3, "ts": 2021-03-01T00:00:00+0000, "hac": 4, "vac": 5, "c": 6 })",
          R"({ "lat": 1, "lat": 2, "lot": 2, "alt": 3, "ts": x, "hac": 4, "vac": 5, "c": 6, "s": 7 })",
          R"({ "lat": 1deg, "lot": 2, "alt": 3, "ts": x, "hac": 4, "vac": 5, "c": 6, "s": 7 })",
          R"({ "lat": 1, "lot": 2, "alt": 3, "ts": x, "hac": 4, "vac": 5, "c": 6, "s": 7, "fl": 2.5 })",
          R"({ "lat": 1, "lot": 2, "alt": 3, "ts": x, "hac": 4, "vac": 5, "c": 6, "s": 7, "zz": 1 })",
          R"({ "lat": 1, "lot": 2, "alt": 3, "ts": , "hac": 4, "vac": 5, "c": 6, "s": 7 })",
      }) {
    EXPECT_EQ(DecodeLocation(bad), std::nullopt) << bad;
  }
}

TEST(LocationTimestamp, ConvertsOnlyWhereTheWeekBasedYearIsTheCalendarYear) {
  EXPECT_EQ(LocationTimestampToRfc3339("2021-01-07T00:00:00+0530"), "2021-01-07T00:00:00+05:30");
  EXPECT_EQ(LocationTimestampToRfc3339("2020-12-25T23:59:59+0000"), "2020-12-25T23:59:59+00:00");
  EXPECT_EQ(LocationTimestampToRfc3339("2020-02-29T12:00:00-0300"), "2020-02-29T12:00:00-03:00");
  for (const char* unknown :
       {"2021-01-06T12:00:00+0000", "2020-12-26T00:00:00+0000", "2021-02-29T12:00:00+0000",
        "2021-13-01T12:00:00+0000", "2021-03-01T24:00:00+0000", "2021-03-01T12:00:00Z",
        "2021-03-01T12:00:00+03:00", "2021-03-01 12:00:00+0300",
        "\xD9\xA2\xD9\xA0\xD9\xA2\xD9\xA1-03-01T12:00:00+0300"}) {
    EXPECT_EQ(LocationTimestampToRfc3339(unknown), std::nullopt) << unknown;
  }
}

TEST(QuotedListDecoder, SplitsOnlyBetweenElementsOfUnescapedNames) {
  using List = std::vector<std::string>;
  EXPECT_EQ(DecodeQuotedList("[]"), List{});
  EXPECT_EQ(DecodeQuotedList(R"(["en_US@sw=QWERTY;hw=Automatic","emoji@sw=Emoji"])"),
            (List{"en_US@sw=QWERTY;hw=Automatic", "emoji@sw=Emoji"}));
  EXPECT_EQ(DecodeQuotedList(R"j(["Al"pha","B,eta","","(null)"])j"),
            (List{R"(Al"pha)", "B,eta", "", "(null)"}));
  for (const char* bad : {"", "[", R"(["])", R"([Alpha])", R"(["Alpha")", R"( ["Alpha"])"}) {
    EXPECT_EQ(DecodeQuotedList(bad), std::nullopt) << bad;
  }
}

TEST(VoipPolicyDecoder, KeepsOrderRepeatedNamesAndNamesWithQuotes) {
  EXPECT_EQ(DecodeVoipPolicy("{}"), json::array());
  EXPECT_EQ(
      DecodeVoipPolicy(R"j({ "Alpha": true, "Beta": false, "Alpha": false, "(null)": true })j"),
      json::parse(R"([{"carrier":"Alpha","allowsVoip":true},{"carrier":"Beta","allowsVoip":false},
                            {"carrier":"Alpha","allowsVoip":false},{"carrier":null,"allowsVoip":true}])"));
  EXPECT_EQ(DecodeVoipPolicy(R"({ "Say "hi": true": false })"),
            json::parse(R"([{"carrier":"Say \"hi\": true","allowsVoip":false}])"));
  for (const char* bad :
       {"", "{ }", R"({ "Alpha": yes })", R"({"Alpha": true})", R"({ "Alpha": true, })"}) {
    EXPECT_EQ(DecodeVoipPolicy(bad), std::nullopt) << bad;
  }
}

}  // namespace
}  // namespace rqbservice
