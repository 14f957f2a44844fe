#include <gtest/gtest.h>

#include "profile/ProfileDecoder.h"

namespace rqbservice {
namespace {

using nlohmann::json;

TEST(ProfileDecoder, DecodesEveryKnownKeyIntoItsType) {
  // One value of each shape per key; the fragments' contents are the
  // fragment decoders'.
  const struct {
    std::vector<const char*> keys;
    const char* sent;
    json decoded;
  } cases[] = {
      {{"ConnectedViaWifi", "ConnectedVia3G", "ClosedCaptioningEnabled", "InvertColorsEnabled",
        "MonoAudioEnabled", "VoiceOverRunning", "PaymentsAllowed", "LocaleEqualsLanguage",
        "GuidedAccessEnabled"},
       "false",
       false},
      // Empty means the platform gave nothing.
      {{"Platform", "SDKVersion", "SystemVersion", "SystemName", "DeviceModel", "DeviceName",
        "LanguageCode", "SSID", "AdvertisingId", "VisitorIdentifierForVendor", "DeviceGeneratedId"},
       "",
       nullptr},
      {{"DeviceName"}, R"(Office "iPhone")", R"(Office "iPhone")"},
      // Newer systems cannot tell.
      {{"GuidedAccessEnabled"}, "unknown", nullptr},
      {{"FreeDiskSpace"}, "18446744073709551615", 18446744073709551615u},
      {{"Battery", "BatteryInfo"},
       R"({ "s": "c", "l": 50.000000 })",
       json::parse(R"({"state": "charging", "level": 50.0})")},
      {{"Location"}, "{}", nullptr},
      // No carrier information at all (older systems) differs from none.
      {{"Carrier"}, "", nullptr},
      {{"Carrier"}, "[]", json::array()},
      {{"Carrier"}, R"j(["Alpha","(null)"])j", json::parse(R"(["Alpha", null])")},
      {{"CarrierAllowsVoip"}, "{}", json::array()},
      {{"InstalledKeyboards"},
       R"(["en_US@sw=QWERTY;hw=Automatic","emoji@sw=Emoji"])",
       json::parse(R"(["en_US@sw=QWERTY;hw=Automatic", "emoji@sw=Emoji"])")},
  };
  for (const auto& c : cases) {
    for (const char* key : c.keys) {
      const DecodedProfile decoded = DecodeProfile({{key, c.sent}});
      EXPECT_EQ(decoded.profile[key], c.decoded) << key << " = " << c.sent;
      EXPECT_TRUE(decoded.undecoded.empty()) << key;
    }
  }
}

TEST(ProfileDecoder, KeepsWhatDoesNotDecodeAsTextAndFlagsIt) {
  const DecodedProfile decoded = DecodeProfile({
      {"ConnectedViaWifi", "yes"},
      {"Battery", "{ \"s\": \"c\", \"l\": 50.0"},
      {"Location", "{ \"lat\": 1 }"},
      {"Carrier", "Alpha"},
      {"CarrierAllowsVoip", ""},
      {"InstalledKeyboards", ""},
      {"GuidedAccessEnabled", ""},
      {"FutureKey", "{ \"x\": 1 }"},
      {"Platform", "'; DROP TABLE receptions; --"},
  });
  EXPECT_EQ(decoded.undecoded,
            (std::vector<std::string>{"Battery", "Carrier", "CarrierAllowsVoip", "ConnectedViaWifi",
                                      "GuidedAccessEnabled", "InstalledKeyboards", "Location"}));
  EXPECT_EQ(decoded.profile["ConnectedViaWifi"], "yes");
  EXPECT_EQ(decoded.profile["Location"], "{ \"lat\": 1 }");
  // Keys of a later library are kept as sent, without a flag.
  EXPECT_EQ(decoded.profile["FutureKey"], "{ \"x\": 1 }");
  EXPECT_EQ(decoded.profile["Platform"], "'; DROP TABLE receptions; --");
  for (const char* bad : {"-5", "+1", "1.5", "18446744073709551616"}) {
    EXPECT_EQ(DecodeProfile({{"FreeDiskSpace", bad}}).undecoded,
              std::vector<std::string>{"FreeDiskSpace"})
        << bad;
  }
}

}  // namespace
}  // namespace rqbservice
