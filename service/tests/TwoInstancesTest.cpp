// Instances keep no state of their own: two of them on one PostgreSQL
// database store and show the same profiles. Needs a server named by PGHOST
// (ctest runs this under pg_virtualenv).
#include <gtest/gtest.h>

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <thread>

#include "database/Connection.h"
#include "support/DeviceBody.h"
#include "support/ServiceProcess.h"

namespace rqbservice::testing {
namespace {

TEST(TwoInstances, ProfilesPostedToEitherAreStoredAndVisibleFromBoth) {
  if (std::getenv("PGHOST") == nullptr) {
    GTEST_SKIP() << "PostgreSQL: no server named by PGHOST (ctest runs this under pg_virtualenv)";
  }
  Connect(DatabaseUrl::Parse("postgresql://"))
      ->Execute("DROP SCHEMA public CASCADE; CREATE SCHEMA public");
  // Started together, they migrate the empty database once between them.
  std::unique_ptr<ServiceProcess> first, second;
  std::thread starting([&] { first = std::make_unique<ServiceProcess>("postgresql://"); });
  second = std::make_unique<ServiceProcess>("postgresql://");
  starting.join();

  constexpr int kEach = 40;
  std::vector<std::thread> posters;
  for (ServiceProcess* service : {first.get(), second.get()}) {
    posters.emplace_back([service] {
      auto client = service->Client();
      for (int i = 0; i < kEach; ++i) {
        const std::string session =
            "port-" + std::to_string(service->port()) + "-" + std::to_string(i);
        const auto result = Upload(*client, DeviceBody(session, "shop", "SHARED-DEVICE"));
        ASSERT_TRUE(result);
        ASSERT_EQ(result->status, 200) << result->body;
      }
    });
  }
  for (auto& poster : posters) poster.join();

  for (ServiceProcess* service : {first.get(), second.get()}) {
    auto client = service->Client();
    EXPECT_EQ(client->Get("/healthz")->status, 200);
    const auto sessions =
        client->Get("/api/profiler/devices/SHARED-DEVICE/sessions?limit=1000", Bearer());
    ASSERT_TRUE(sessions);
    EXPECT_EQ(nlohmann::json::parse(sessions->body).size(), 2u * kEach);
  }
  EXPECT_EQ(first->Terminate(), 0);
  EXPECT_EQ(second->Terminate(), 0);
}

}  // namespace
}  // namespace rqbservice::testing
