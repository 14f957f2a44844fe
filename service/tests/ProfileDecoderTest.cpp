#include <gtest/gtest.h>

#include "profile/ProfileDecoder.h"

namespace rqbservice {
namespace {

using nlohmann::json;

// The 27 keys of one device's profile, as the device writes the values.
std::vector<std::pair<std::string, std::string>> PhoneProfile() {
  return {
      {"Platform", "iOS"},
      {"SDKVersion", "3.0.2"},
      {"AdvertisingId", "E621E1F8-C36C-495A-93FC-0C247A3E6E5F"},
      {"Location",
       R"({ "lat": -23.5505, "lot": -46.6333, "alt": 760.5, "ts": 2021-01-21T14:03:07-0300, "hac": 65, "vac": 10, "c": -1, "s": -1, "fl": 2 })"},
      {"BatteryInfo", R"({ "s": "c", "l": 50.000000 })"},
      {"Battery", R"({ "s": "c", "l": 50.000000 })"},
      {"LanguageCode", "en"},
      {"DeviceGeneratedId", "0F6E5D4C-3B2A-4918-8765-43210FEDCBA9"},
      {"VisitorIdentifierForVendor", ""},
      {"DeviceModel", "iPhone12,1"},
      {"SystemVersion", "14.3"},
      {"SystemName", "iOS"},
      {"ConnectedVia3G", "false"},
      {"Carrier", R"(["Alpha","Beta"])"},
      {"ClosedCaptioningEnabled", "false"},
      {"DeviceName", R"(Office "iPhone")"},
      {"FreeDiskSpace", "52234567680"},
      {"GuidedAccessEnabled", "unknown"},
      {"InvertColorsEnabled", "false"},
      {"InstalledKeyboards", R"(["en_US@sw=QWERTY;hw=Automatic","emoji@sw=Emoji"])"},
      {"LocaleEqualsLanguage", "true"},
      {"MonoAudioEnabled", "false"},
      {"PaymentsAllowed", "true"},
      {"SSID", ""},
      {"VoiceOverRunning", "false"},
      {"CarrierAllowsVoip", R"({ "Alpha": true, "Beta": false })"},
      {"ConnectedViaWifi", "true"},
  };
}

TEST(ProfileDecoder, DecodesEveryKeyOfADevicesProfileIntoItsType) {
  const DecodedProfile decoded = DecodeProfile(PhoneProfile());
  EXPECT_TRUE(decoded.undecoded.empty());
  const json& p = decoded.profile;
  EXPECT_EQ(p.size(), 27u);
  // Each key's type; the fragments' contents are the fragment decoders'.
  for (const char* key : {"ConnectedViaWifi", "ConnectedVia3G", "LocaleEqualsLanguage",
                          "PaymentsAllowed", "VoiceOverRunning", "ClosedCaptioningEnabled"}) {
    EXPECT_TRUE(p[key].is_boolean()) << key;
  }
  for (const char* key : {"Battery", "BatteryInfo", "Location"}) EXPECT_TRUE(p[key].is_object());
  for (const char* key : {"Carrier", "CarrierAllowsVoip", "InstalledKeyboards"}) {
    EXPECT_TRUE(p[key].is_array()) << key;
  }
  EXPECT_EQ(p["FreeDiskSpace"], 52234567680u);
  EXPECT_EQ(p["DeviceName"], R"(Office "iPhone")");
  // Empty means the platform gave nothing; "unknown" that it could not tell.
  EXPECT_TRUE(p["VisitorIdentifierForVendor"].is_null());
  EXPECT_TRUE(p["GuidedAccessEnabled"].is_null());
}

TEST(ProfileDecoder, KeepsWhatDoesNotDecodeAsTextAndFlagsIt) {
  const DecodedProfile decoded = DecodeProfile({
      {"ConnectedViaWifi", "yes"},
      {"FreeDiskSpace", "-5"},
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
                                      "FreeDiskSpace", "GuidedAccessEnabled", "InstalledKeyboards",
                                      "Location"}));
  EXPECT_EQ(decoded.profile["ConnectedViaWifi"], "yes");
  EXPECT_EQ(decoded.profile["Location"], "{ \"lat\": 1 }");
  // Keys of a later library are kept as sent, without a flag.
  EXPECT_EQ(decoded.profile["FutureKey"], "{ \"x\": 1 }");
  EXPECT_EQ(decoded.profile["Platform"], "'; DROP TABLE receptions; --");
}

TEST(ProfileDecoder, ByteCountsAndCarrierListsKeepTheirWholeRange) {
  for (const char* bad : {"1.5", "+1", "18446744073709551616"}) {
    EXPECT_EQ(DecodeProfile({{"FreeDiskSpace", bad}}).undecoded.size(), 1u) << bad;
  }
  EXPECT_EQ(DecodeProfile({{"FreeDiskSpace", "18446744073709551615"}}).profile["FreeDiskSpace"],
            18446744073709551615u);
  // A missing carrier list (older systems) differs from an empty one.
  EXPECT_TRUE(DecodeProfile({{"Carrier", ""}}).profile["Carrier"].is_null());
  EXPECT_EQ(DecodeProfile({{"Carrier", "[]"}}).profile["Carrier"], json::array());
  EXPECT_EQ(DecodeProfile({{"Carrier", R"j(["(null)"])j"}}).profile["Carrier"],
            json::array({nullptr}));
}

}  // namespace
}  // namespace rqbservice
