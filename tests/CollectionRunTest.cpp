// The collection run: registry walk, envelope, exception handler, settings.
#include <gtest/gtest.h>

#include <atomic>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

#include "FakePlatform.h"
#include "Managers/RQBIdentityManager.h"
#include "RQBehavior/RQBehavior.h"
#include "Utils/Json/PrettyJsonWriter.h"

namespace rqb {
namespace {

using test::PlatformTest;
using test::StubDataHelper;

class CollectionRun : public PlatformTest {
 protected:
  void RegisterStub(const std::string& name, std::optional<std::string> key,
                    std::optional<std::string> value, std::function<void()> on_value = nullptr) {
    classes_.Register(name, [=] { return std::make_unique<StubDataHelper>(key, value, on_value); });
  }
};

TEST_F(CollectionRun, StoresNilAndNonUtf8ValuesAsEmptySkipsNilKeysAndLetsLaterKeysWin) {
  bool nil_key_value_asked = false;
  RegisterStub("RQBPlatformDataHelper", "Platform", std::nullopt);
  RegisterStub("RQBDeviceNameDataHelper", "DeviceName", "Caf\xE9");  // Latin-1, not UTF-8
  RegisterStub("RQBSDKVersionDataHelper", std::nullopt, "x", [&] { nil_key_value_asked = true; });
  RegisterStub("RQBSystemVersionDataHelper", "SystemVersion", "14.3");
  RegisterStub("RQBOSVersionDataHelper", "SystemVersion", "14.4");
  RegisterStub("RQBJailBreakingDataHelper", "JailBroken", "true");  // not a registry name

  const JsonObject variables = RQBIdentifyManager::getInstance().getDeviceData();
  EXPECT_EQ(WritePrettyJson(variables),
            "{\n  \"Platform\" : \"\",\n  \"SystemVersion\" : \"14.4\",\n  \"DeviceName\" : "
            "\"\"\n}");
  EXPECT_TRUE(nil_key_value_asked);
}

// Every collector still runs when the application identifier is nil; a
// collector that throws ends its run at once.
TEST_F(CollectionRun, ANilAppOrACollectorThatThrowsEndsTheRunWithOneLogLineAndNoUpload) {
  std::atomic<int> collectors_asked = 0;
  RegisterStub("RQBPlatformDataHelper", "Platform", "iOS", [&] { ++collectors_asked; });
  RegisterStub("RQBWifiDataHelper", "ConnectedViaWifi", "true", [&] { ++collectors_asked; });
  RQBehavior::getInstance(std::nullopt).collectDeviceInformation("session-1");
  background_.RunAll();
  EXPECT_EQ(collectors_asked, 2);

  RegisterStub("RQBPlatformDataHelper", "Platform", "iOS",
               [] { throw RQBException("NSRangeException", "index 3 beyond bounds"); });
  RQBehavior::getInstance("shop-app-01").collectDeviceInformation("session-2");
  background_.RunAll();
  RegisterStub("RQBPlatformDataHelper", "Platform", "iOS",
               [] { throw std::runtime_error("out of descriptors"); });
  RQBehavior::getInstance("shop-app-01").collectDeviceInformation("session-3");
  background_.RunAll();

  EXPECT_EQ(log_.Lines(),
            (std::vector<std::string>{"captureDeviceIdentifier Exception: *** -[__NSDictionaryM "
                                      "setObject:forKey:]: object cannot be nil (key: App)",
                                      "captureDeviceIdentifier Exception: index 3 beyond bounds",
                                      "captureDeviceIdentifier Exception: out of descriptors"}));
  EXPECT_TRUE(sessions_.Tasks().empty());
}

// The host calls again while a run collects: the run uploads the settings
// of that call, read when it builds its envelope. (That runs overlap is the
// thread pool's test.)
TEST_F(CollectionRun, ARunReadsTheSettingsWhenItBuildsTheEnvelope) {
  bool called_again = false;
  RegisterStub("RQBPlatformDataHelper", "Platform", "iOS", [&] {
    if (std::exchange(called_again, true)) return;
    RQBehavior::getInstance("shop-app-02").collectDeviceInformation("second-session");
  });
  RQBehavior::getInstance("shop-app-01").collectDeviceInformation("first-session");
  EXPECT_EQ(background_.RunAll(), 2u);
  ASSERT_EQ(sessions_.Tasks().size(), 2u);
  for (const auto& task : sessions_.Tasks()) {
    const nlohmann::json profile = nlohmann::json::parse(task.request.http_body);
    EXPECT_EQ(profile["SessionID"], "second-session");
    EXPECT_EQ(profile["App"], "shop-app-02");
  }
}

}  // namespace
}  // namespace rqb
