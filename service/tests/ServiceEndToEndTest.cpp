// The service as a program: real HTTPS with a test CA, a real database.
#include <gtest/gtest.h>
#include <openssl/ssl.h>

#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>

#include "api/Rfc3339.h"
#include "database/Connection.h"
#include "support/DeviceBody.h"
#include "support/ServiceProcess.h"

namespace rqbservice::testing {
namespace {

using nlohmann::json;

TEST(ServiceEndToEnd, StoresAProfileShowsItDecodedAndLogsItWithoutTheBody) {
  ServiceProcess service;
  auto client = service.Client();
  const std::string session = "S\xC3\xA3o-Paulo/9B2C 61D4?#%";
  // An app that would forge a log field if it were written unescaped.
  const std::string app = "app\n{\"forged\":1}";
  const std::string body = DeviceBody(session, R"(app\n{\"forged\":1})",
                                      "0F6E5D4C-3B2A-4918-8765-43210FEDCBA9", "secret-device-name");
  const auto before = NowMicroseconds();
  for (int i = 0; i < 2; ++i) {
    const auto posted = Upload(*client, body);
    ASSERT_TRUE(posted) << httplib::to_string(posted.error());
    ASSERT_EQ(posted->status, 200) << posted->body;
  }

  const auto result = client->Get(
      "/api/profiler/sessions/" + httplib::detail::encode_query_param(session), Bearer());
  ASSERT_TRUE(result);
  ASSERT_EQ(result->status, 200) << result->body;
  const json receptions = json::parse(result->body);
  // The same session posted twice is two receptions.
  ASSERT_EQ(receptions.size(), 2u);
  const json& reception = receptions[1];
  EXPECT_EQ(reception["app"], app);
  EXPECT_EQ(reception["sessionId"], session);
  EXPECT_EQ(reception["raw"], body);
  const auto received_at = ParseRfc3339(reception["receivedAt"].get<std::string>());
  ASSERT_TRUE(received_at);
  EXPECT_GE(*received_at, before);
  EXPECT_EQ(reception["undecoded"], json::array());
  const json& profile = reception["profile"];
  EXPECT_EQ(profile["Battery"], json({{"state", "charging"}, {"level", 50.0}}));
  EXPECT_EQ(profile["SDKVersion"], "3.0/2");

  // One JSON line per reception, and none holds the body.
  EXPECT_EQ(service.Terminate(), 0);
  std::istringstream log(service.Log());
  int receptions_logged = 0;
  for (std::string line; std::getline(log, line);) {
    const json event = json::parse(line, nullptr, false);
    ASSERT_FALSE(event.is_discarded()) << line;
    EXPECT_FALSE(event.contains("forged"));
    EXPECT_EQ(line.find("secret-device-name"), std::string::npos);
    receptions_logged += event.value("event", "") == "reception";
  }
  EXPECT_EQ(receptions_logged, 2);
}

TEST(ServiceEndToEnd, QueriesNeedTheTokenAndUnknownSessionsAreNotFound) {
  ServiceProcess service;
  auto client = service.Client();
  ASSERT_EQ(Upload(*client, DeviceBody("known-session"))->status, 200);
  for (const httplib::Headers& headers :
       {httplib::Headers{}, Bearer("wrong-token-0123456789abcde"), Bearer(""),
        httplib::Headers{{"Authorization", std::string("Basic ") + kToken}},
        httplib::Headers{{"Authorization", std::string("Bearer ") + kToken + "x"}}}) {
    for (const char* path : {"/api/profiler/sessions/known-session", "/api/profiler/receptions",
                             "/api/profiler/devices/0F6E5D4C-3B2A-4918-8765-43210FEDCBA9/sessions",
                             "/api/profiler/signals/devices-with-many-sessions"}) {
      const auto result = client->Get(path, headers);
      ASSERT_TRUE(result);
      EXPECT_EQ(result->status, 401) << path;
      EXPECT_EQ(result->body.find("known-session"), std::string::npos);
    }
  }
  EXPECT_EQ(client->Get("/api/profiler/sessions/unknown-session", Bearer())->status, 404);
  EXPECT_EQ(client->Get("/api/profiler/receptions?since=yesterday", Bearer())->status, 400);
  EXPECT_EQ(client->Get("/api/profiler/receptions?limit=0", Bearer())->status, 400);
  // The token never reaches the log.
  EXPECT_EQ(service.Log().find(kToken), std::string::npos);
}

TEST(ServiceEndToEnd, RefusesBadUploadsStoresNothingAndStaysUp) {
  ServiceProcess service;
  auto client = service.Client();
  const std::string good = DeviceBody("bad-input-session");
  json many_keys = {{"SessionID", "abcdef"}, {"App", "a"}};
  for (int i = 0; i < 3000; ++i) many_keys["Variables"]["k" + std::to_string(i)] = "v";
  const struct {
    std::string body;
    const char* content_type;
    int status;
    const char* reason;
  } cases[] = {
      {good.substr(0, good.size() / 2), kDeviceContentType, 400, "not_json"},
      {good, "application/json; charset=ISO-8859-1", 415, "content_type"},
      {std::string(70 * 1024, ' ') + good, kDeviceContentType, 413, "too_large"},
      {std::string(5000, '[') + std::string(5000, ']'), kDeviceContentType, 400, "too_deep"},
      {DeviceBody("s\xED\xA0\x80x"), kDeviceContentType, 400, "invalid_utf8"},
      {R"({"SessionID":"abcdef","App":"a","Variables":{"Battery":50}})", kDeviceContentType, 400,
       "bad_envelope"},
      {many_keys.dump(), kDeviceContentType, 400, "too_many_keys"},
  };
  for (const auto& c : cases) {
    const auto result = Upload(*client, c.body, c.content_type);
    ASSERT_TRUE(result) << c.reason;
    EXPECT_EQ(result->status, c.status) << c.reason;
    const json error = json::parse(result->body, nullptr, false);
    EXPECT_EQ(error.value("reason", ""), c.reason) << result->body;
    EXPECT_TRUE(error.contains("error"));
  }
  const auto stored = client->Get("/api/profiler/receptions", Bearer());
  ASSERT_TRUE(stored);
  EXPECT_EQ(stored->body, "[]");
  EXPECT_EQ(client->Get("/healthz")->status, 200);

  const auto metrics = client->Get("/metrics");
  ASSERT_TRUE(metrics);
  EXPECT_NE(metrics->body.find("rqbehavior_rejections_total{reason=\"too_large\"} 1"),
            std::string::npos)
      << metrics->body;
  EXPECT_NE(metrics->body.find("rqbehavior_rejections_total{reason=\"content_type\"} 1"),
            std::string::npos);
}

// Opens a TLS connection and sends the start of a request, then stalls.
TEST(ServiceEndToEnd, AClientThatStallsInItsHeadersIsCutOffWhileOthersAreServed) {
  ServiceProcess service("", {"--read-timeout", "1"});
  SSL_CTX* context = SSL_CTX_new(TLS_client_method());
  BIO* tls = BIO_new_ssl_connect(context);
  BIO_set_conn_hostname(tls, ("127.0.0.1:" + std::to_string(service.port())).c_str());
  ASSERT_EQ(BIO_do_connect(tls), 1);
  const std::string start = "POST /api/profiler/variables HTTP/1.1\r\nHost: localhost\r\nConte";
  for (const char byte : start) {
    ASSERT_EQ(BIO_write(tls, &byte, 1), 1);
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  // Meanwhile the service answers others.
  EXPECT_EQ(Upload(*service.Client(), DeviceBody("meanwhile"))->status, 200);
  const auto stalled_at = std::chrono::steady_clock::now();
  // The server may answer 4xx before it closes; it must not wait for more.
  std::string reply;
  char buffer[512];
  for (int read; (read = BIO_read(tls, buffer, sizeof buffer)) > 0;) reply.append(buffer, read);
  const auto waited = std::chrono::steady_clock::now() - stalled_at;
  EXPECT_LT(waited, std::chrono::seconds(5));
  EXPECT_TRUE(reply.empty() || reply.starts_with("HTTP/1.1 4")) << reply;
  BIO_free_all(tls);
  SSL_CTX_free(context);
}

TEST(ServiceEndToEnd, EveryProfileAnswered200IsStoredAfterAStop) {
  for (const bool kill_hard : {false, true}) {
    ServiceProcess service;
    std::atomic<bool> stop{false};
    std::atomic<int> answered_count{0};
    std::vector<std::string> answered[4];  // by client, the sessions answered 200
    std::vector<std::thread> clients;
    for (int t = 0; t < 4; ++t) {
      clients.emplace_back([&, t] {
        auto client = service.Client();
        for (int i = 0; !stop; ++i) {
          const std::string session = "load-" + std::to_string(t) + "-" + std::to_string(i);
          const auto result = Upload(*client, DeviceBody(session));
          if (!result) continue;  // refused while stopping: a new connection is tried
          if (result->status != 200) return;
          answered[t].push_back(session);
          ++answered_count;
        }
      });
    }
    // Stopped under load: once some profiles have been answered, however
    // slow the machine.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (answered_count < 20 && std::chrono::steady_clock::now() < deadline) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    if (kill_hard) {
      service.Kill();
    } else {
      EXPECT_EQ(service.Terminate(), 0);
    }
    stop = true;
    for (auto& client : clients) client.join();
    ASSERT_GE(answered_count.load(), 20);

    service.Restart();
    const auto integrity =
        Connect(DatabaseUrl::Parse(service.database()))->Query("PRAGMA integrity_check");
    EXPECT_EQ(integrity.at(0).at(0), "ok");
    auto client = service.Client();
    for (const auto& sessions : answered) {
      for (const std::string& session : sessions) {
        const auto result = client->Get("/api/profiler/sessions/" + session, Bearer());
        ASSERT_TRUE(result);
        ASSERT_EQ(result->status, 200)
            << session << (kill_hard ? " after kill -9" : " after SIGTERM");
      }
    }
  }
}

}  // namespace
}  // namespace rqbservice::testing
