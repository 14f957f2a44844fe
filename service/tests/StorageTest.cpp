// One body of storage tests, run on SQLite and on PostgreSQL. The PostgreSQL
// cases need a server named by PGHOST and friends (ctest runs them under
// pg_virtualenv) and are skipped without one.
#include <gtest/gtest.h>

#include <cstdlib>
#include <set>
#include <thread>

#include "database/Migrations.h"
#include "storage/GroupCommitWriter.h"
#include "storage/Storage.h"
#include "support/TemporaryFolder.h"

namespace rqbservice {
namespace {

constexpr std::int64_t kHour = 3600LL * 1000 * 1000;
constexpr std::int64_t kT0 = 1'700'000'000LL * 1000 * 1000;

Reception MakeReception(std::string session, std::int64_t at, std::optional<std::string> device,
                        std::optional<std::string> vendor = std::nullopt,
                        std::string app = "shop") {
  Reception r;
  r.received_at_us = at;
  r.app = std::move(app);
  r.session_id = std::move(session);
  r.device_generated_id = std::move(device);
  r.vendor_id = std::move(vendor);
  r.raw = "{\n  \"App\" : \"" + r.app + "\"\n}";
  r.profile_json = R"({"Platform":"iOS"})";
  r.undecoded_json = "[]";
  return r;
}

// Passes everything to a real connection, and fails the Nth statement.
class FailingConnection final : public Connection {
 public:
  FailingConnection(Connection& real, int fail_at) : real_(real), fail_at_(fail_at) {}
  Engine engine() const override { return real_.engine(); }
  bool usable() const override { return real_.usable(); }
  void Execute(const std::string& sql) override { real_.Execute(sql); }
  void BeginWrite() override { real_.BeginWrite(); }
  std::vector<SqlRow> Query(const std::string& sql,
                            const std::vector<SqlValue>& parameters) override {
    if (++statements_ == fail_at_) throw DatabaseError("disk full");
    return real_.Query(sql, parameters);
  }

 private:
  Connection& real_;
  const int fail_at_;
  int statements_ = 0;
};

class StorageOnEachEngine : public ::testing::TestWithParam<Engine> {
 protected:
  void SetUp() override {
    if (GetParam() == Engine::kSqlite) {
      url_ = "sqlite:" + (folder_.path / "profiles.db").string();
      return;
    }
    if (std::getenv("PGHOST") == nullptr) {
      GTEST_SKIP()
          << "PostgreSQL: no server named by PGHOST (ctest runs these under pg_virtualenv)";
    }
    url_ = "postgresql://";
    // Every case starts from an empty database.
    Connect(DatabaseUrl::Parse(url_))->Execute("DROP SCHEMA public CASCADE; CREATE SCHEMA public");
  }

  std::unique_ptr<Storage> Open() { return std::make_unique<Storage>(DatabaseUrl::Parse(url_)); }

  void Append(Storage& storage, std::vector<Reception> receptions) {
    Storage::AppendReceptions(*storage.OpenWriterConnection(), receptions);
  }

  testing::TemporaryFolder folder_;  // unused on PostgreSQL
  std::string url_;
};

TEST_P(StorageOnEachEngine, KeepsEveryReceptionOfASessionByteForByteOldestFirst) {
  auto storage = Open();
  Reception odd = MakeReception("s-1", kT0 + 2, "device-a");
  odd.raw = "{\n  \"DeviceName\" : \"Robert'); DROP TABLE receptions;--\\/ \xF0\x9F\x93\xB1\"\n}";
  odd.profile_json = R"({"DeviceName":"<script>alert(1)</script>"})";
  odd.undecoded_json = R"(["Location"])";
  odd.advertising_id = "E621E1F8-C36C-495A-93FC-0C247A3E6E5F";
  // The same session posted twice is two receptions.
  Append(*storage, {odd, MakeReception("s-1", kT0 + 1, "device-a"), MakeReception("s-2", kT0, {})});

  const auto receptions = storage->SessionReceptions("s-1");
  ASSERT_EQ(receptions.size(), 2u);
  EXPECT_EQ(receptions[0].received_at_us, kT0 + 1);
  const Reception& stored = receptions[1];
  EXPECT_EQ(stored.raw, odd.raw);
  EXPECT_EQ(stored.profile_json, odd.profile_json);
  EXPECT_EQ(stored.undecoded_json, odd.undecoded_json);
  EXPECT_EQ(stored.device_generated_id, "device-a");
  EXPECT_EQ(stored.vendor_id, std::nullopt);
  EXPECT_EQ(stored.advertising_id, odd.advertising_id);
  EXPECT_TRUE(storage->SessionReceptions("s-").empty());
}

TEST_P(StorageOnEachEngine, RecentReceptionsFilterByAppAndTimeNewestFirst) {
  auto storage = Open();
  Append(*storage,
         {MakeReception("a", kT0, {}, {}, "shop"), MakeReception("b", kT0 + kHour, {}, {}, "bank"),
          MakeReception("c", kT0 + 2 * kHour, {}, {}, "shop"),
          MakeReception("d", kT0 + 3 * kHour, {}, {}, "shop")});
  auto recent = [&](std::optional<std::string> app, std::optional<std::int64_t> since,
                    std::optional<std::int64_t> until, std::int64_t limit = 50) {
    std::string sessions;
    for (const auto& r : storage->RecentReceptions({app, since, until, limit})) {
      sessions += r.session_id;
    }
    return sessions;
  };
  EXPECT_EQ(recent({}, {}, {}), "dcba");
  EXPECT_EQ(recent("shop", {}, {}), "dca");
  EXPECT_EQ(recent("shop", kT0 + 1, {}), "dc");
  EXPECT_EQ(recent({}, kT0, kT0 + 2 * kHour), "ba");
  EXPECT_EQ(recent({}, {}, {}, 1), "d");
  EXPECT_EQ(recent("' OR 1=1 --", {}, {}), "");
}

TEST_P(StorageOnEachEngine, FindsADevicesSessionsByEitherIdentifier) {
  auto storage = Open();
  Append(
      *storage,
      {MakeReception("s1", kT0, "dev", "ven"), MakeReception("s1", kT0 + 5, "dev", "ven"),
       MakeReception("s2", kT0 + 9, "dev", "ven"), MakeReception("s3", kT0 + 7, "other", "ven")});
  const auto by_device = storage->SessionsOfDevice("dev", 10);
  ASSERT_EQ(by_device.size(), 2u);
  EXPECT_EQ(by_device[0].session_id, "s2");
  EXPECT_EQ(by_device[1].session_id, "s1");
  EXPECT_EQ(by_device[1].receptions, 2);
  EXPECT_EQ(by_device[1].first_us, kT0);
  EXPECT_EQ(by_device[1].last_us, kT0 + 5);
  EXPECT_EQ(storage->SessionsOfVendor("ven", 10).size(), 3u);
  EXPECT_EQ(storage->SessionsOfVendor("ven", 1).size(), 1u);
  EXPECT_TRUE(storage->SessionsOfDevice("nobody", 10).empty());
}

TEST_P(StorageOnEachEngine, ComputesTheFraudSignals) {
  auto storage = Open();
  // A farm device that opens many sessions; a session replayed on two
  // devices; a vendor identifier whose device identifier was reset.
  Append(
      *storage,
      {MakeReception("f1", kT0, "farm", "v-farm"), MakeReception("f2", kT0, "farm", "v-farm"),
       MakeReception("f3", kT0, "farm", "v-farm"), MakeReception("shared", kT0, "phone-1", "v-1"),
       MakeReception("shared", kT0, "phone-2", "v-2"),
       MakeReception("r1", kT0, "before-reset", "v-3"),
       MakeReception("r2", kT0, "after-reset", "v-3"),
       MakeReception("old", kT0 - kHour, "farm", "v-old")});

  const auto devices = storage->DevicesWithManySessions(kT0 - 2 * kHour, 2, 10);
  ASSERT_EQ(devices.size(), 1u);
  EXPECT_EQ(devices[0].identifier, "farm");
  EXPECT_EQ(devices[0].count, 4);
  EXPECT_EQ(storage->DevicesWithManySessions(kT0, 2, 10).at(0).count, 3);

  const auto sessions = storage->SessionsOnManyDevices(kT0, 2, 10);
  ASSERT_EQ(sessions.size(), 1u);
  EXPECT_EQ(sessions[0].identifier, "shared");
  EXPECT_EQ(sessions[0].count, 2);

  const auto changes = storage->IdentifierChanges(kT0, 10);
  ASSERT_EQ(changes.size(), 1u);
  EXPECT_EQ(changes[0].kind, "vendor-device-ids");
  EXPECT_EQ(changes[0].identifier, "v-3");
  EXPECT_EQ(changes[0].values, (std::vector<std::string>{"after-reset", "before-reset"}));
  // Since an hour earlier, "farm" also changed its vendor identifier.
  EXPECT_EQ(storage->IdentifierChanges(kT0 - kHour, 10).size(), 2u);
}

TEST_P(StorageOnEachEngine, AFailedBatchStoresNothingOfIt) {
  auto storage = Open();
  auto real = storage->OpenWriterConnection();
  FailingConnection failing(*real, /*fail_at=*/3);
  std::vector<Reception> batch = {MakeReception("x", kT0, {}), MakeReception("y", kT0, {}),
                                  MakeReception("z", kT0, {})};
  EXPECT_THROW(Storage::AppendReceptions(failing, batch), DatabaseError);
  EXPECT_EQ(storage->CountReceptions(), 0);
  // The connection is still good for the next batch.
  Storage::AppendReceptions(*real, batch);
  EXPECT_EQ(storage->CountReceptions(), 3);
}

TEST_P(StorageOnEachEngine, MigratesOnceAndRefusesASchemaNewerThanItself) {
  Append(*Open(), {MakeReception("kept", kT0, {})});
  auto reopened = Open();  // applies nothing twice, keeps the data
  EXPECT_EQ(reopened->SessionReceptions("kept").size(), 1u);
  auto connection = reopened->OpenWriterConnection();
  EXPECT_EQ(connection->Query("SELECT MAX(version) FROM schema_migrations").at(0).at(0),
            std::to_string(LatestSchemaVersion()));
  connection->Query("INSERT INTO schema_migrations (version, applied_at_us) VALUES ($1, 0)",
                    {std::int64_t{LatestSchemaVersion() + 1}});
  EXPECT_THROW(Open(), DatabaseError);
}

TEST_P(StorageOnEachEngine, GroupCommitAnswersEachWriterWithItsOwnCommittedReception) {
  auto storage = Open();
  GroupCommitWriter writer(*storage);
  constexpr int kThreads = 8, kEach = 50;
  std::vector<std::int64_t> ids(kThreads * kEach);  // by session, "0" to "399"
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int n = t * kEach; n < (t + 1) * kEach; ++n) {
        ids[n] = writer.Write(MakeReception(std::to_string(n), kT0 + n, {}));
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(storage->CountReceptions(), kThreads * kEach);
  EXPECT_EQ(std::set<std::int64_t>(ids.begin(), ids.end()).size(), ids.size());
  for (std::size_t n = 7; n < ids.size(); n += kEach) {
    EXPECT_EQ(storage->SessionReceptions(std::to_string(n)).at(0).id, ids[n]) << n;
  }
  writer.Stop();
  EXPECT_THROW(writer.Write(MakeReception("late", kT0, {})), DatabaseError);
}

INSTANTIATE_TEST_SUITE_P(Engines, StorageOnEachEngine,
                         ::testing::Values(Engine::kSqlite, Engine::kPostgres),
                         [](const auto& info) {
                           return info.param == Engine::kSqlite ? "SQLite" : "PostgreSQL";
                         });

TEST(DatabaseUrl, TellsTheEngineFromTheUrl) {
  EXPECT_EQ(DatabaseUrl::Parse("sqlite:///var/lib/p.db").target, "/var/lib/p.db");
  EXPECT_EQ(DatabaseUrl::Parse("postgres://h/db").engine, Engine::kPostgres);
  for (const char* bad : {"sqlite:", "mysql://h/db", "/var/lib/p.db", ""}) {
    EXPECT_THROW(DatabaseUrl::Parse(bad), DatabaseError) << bad;
  }
}

}  // namespace
}  // namespace rqbservice
