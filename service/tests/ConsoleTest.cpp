// The web console in headless Chromium, against a running service that holds
// a profile uploaded by the library itself (its C example, built with
// uploads routed to the service's port and trusting the test CA).
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <nlohmann/json.hpp>
#include <regex>

#include "support/DeviceBody.h"
#include "support/ServiceProcess.h"

namespace rqbservice::testing {
namespace {

using nlohmann::json;

std::string Quoted(const std::string& word) {
  return "'" + std::regex_replace(word, std::regex("'"), R"('\'')") + "'";
}

struct Finished {
  int status;
  std::string output;
};

// Runs a program to its end, killed after `seconds`: its exit status and
// what it wrote to stdout. Its stderr goes to `stderr_file` when one is named.
Finished RunToEnd(const std::vector<std::string>& arguments, int seconds,
                  const std::string& stderr_file = "") {
  std::string command = "exec timeout -s KILL " + std::to_string(seconds);
  for (const std::string& argument : arguments) command += " " + Quoted(argument);
  if (!stderr_file.empty()) command += " 2>>" + Quoted(stderr_file);
  Finished finished{-1, ""};
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return finished;
  char buffer[4096];
  for (std::size_t got; (got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) {
    finished.output.append(buffer, got);
  }
  const int status = pclose(pipe);
  if (WIFEXITED(status)) finished.status = WEXITSTATUS(status);
  return finished;
}

class Console : public ::testing::Test {
 protected:
  void SetUp() override {
    if (std::string(RQBEHAVIOR_CHROMIUM).empty()) GTEST_SKIP() << "Chromium is not installed";
    if (std::string(RQBEHAVIOR_C_EXAMPLE).empty()) {
      GTEST_SKIP() << "the library's C example is not built";
    }
    service_ =
        std::make_unique<ServiceProcess>("", std::vector<std::string>{}, RQBEHAVIOR_PROFILER_HOST);
  }

  // The library collects on this machine and uploads over HTTPS, verifying
  // the service's certificate. Returns the session identifier.
  std::string UploadFromTheLibrary() {
    const std::string home = service_->folder() / "home";
    const Finished example =
        RunToEnd({"env", "RQBEHAVIOR_TEST_LOOPBACK_PORT=" + std::to_string(service_->port()),
                  "RQBEHAVIOR_TEST_LOOPBACK_CA_FILE=" + service_->ca_file(), "HOME=" + home,
                  "XDG_CONFIG_HOME=" + home + "/.config", RQBEHAVIOR_C_EXAMPLE},
                 60);
    EXPECT_EQ(example.status, 0) << example.output;
    std::smatch session;
    if (!std::regex_search(example.output, session, std::regex("session ([0-9A-F-]{36})"))) {
      ADD_FAILURE() << "no session in: " << example.output;
      return "";
    }
    return session[1];
  }

  // The page's DOM once its scripts have run and its requests are answered.
  std::string Render(const std::string& fragment) {
    const std::string profile = service_->folder() / ("chromium-" + std::to_string(++renders_));
    const Finished chromium =
        RunToEnd({RQBEHAVIOR_CHROMIUM, "--headless", "--no-sandbox", "--disable-gpu",
                  "--disable-background-networking", "--disable-component-update", "--disable-sync",
                  "--no-first-run", "--user-data-dir=" + profile, "--ignore-certificate-errors",
                  "--host-resolver-rules=MAP " + service_->host() + " 127.0.0.1",
                  "--virtual-time-budget=15000", "--dump-dom",
                  "https://" + service_->host() + ":" + std::to_string(service_->port()) +
                      "/console/#" + fragment},
                 90, service_->folder() / "chromium.log");
    EXPECT_EQ(chromium.status, 0);
    EXPECT_NE(chromium.output.find("data-ready=\"true\""), std::string::npos) << chromium.output;
    return chromium.output;
  }

  static std::string WithToken(const std::string& route) { return route + "?token=" + kToken; }

  std::unique_ptr<ServiceProcess> service_;
  int renders_ = 0;
};

TEST_F(Console, ShowsTheLibrarysUploadDecoded) {
  const std::string session = UploadFromTheLibrary();
  ASSERT_FALSE(session.empty());

  // What the query API returns for it: every key decoded.
  const auto stored = service_->Client()->Get("/api/profiler/sessions/" + session, Bearer());
  ASSERT_TRUE(stored);
  ASSERT_EQ(stored->status, 200) << stored->body;
  const json reception = json::parse(stored->body).at(0);
  EXPECT_EQ(reception["app"], "c-example");
  EXPECT_EQ(reception["undecoded"], json::array()) << reception["raw"];
  EXPECT_EQ(reception["profile"].size(), 27u);
  const std::string device = reception["profile"]["DeviceGeneratedId"];

  const std::string page = Render(WithToken("/session/" + session));
  EXPECT_NE(page.find("data-view=\"session\""), std::string::npos);
  EXPECT_NE(page.find("Session " + session), std::string::npos);
  EXPECT_NE(page.find("c-example"), std::string::npos);
  for (const char* card : {">Battery<", ">Location<", ">Network<", ">Carriers<", ">Identifiers<"}) {
    EXPECT_NE(page.find(card), std::string::npos) << card;
  }
  EXPECT_NE(page.find(device), std::string::npos);
  EXPECT_EQ(page.find("class=\"undecoded\""), std::string::npos);

  // The recent receptions list it; the device's history too.
  EXPECT_NE(Render(WithToken("/")).find(session), std::string::npos);
  EXPECT_NE(Render(WithToken("/device/" + device)).find(session), std::string::npos);
}

TEST_F(Console, ShowsHostileTextAsTextTheSignalsAndNothingWithoutTheToken) {
  auto client = service_->Client();
  const std::string name =
      R"(<img src=x onerror=\"document.title='pwned'\"><script>document.title='pwned'<\/script>)";
  for (const char* session : {"farm-1", "farm-2", "farm-3' OR 1=1 --"}) {
    ASSERT_EQ(Upload(*client, DeviceBody(session, "shop", "FARM-DEVICE", name))->status, 200);
  }
  const std::string page = Render(WithToken("/session/" + std::string("farm-3' OR 1=1 --")));
  EXPECT_NE(page.find("&lt;script&gt;document.title='pwned'&lt;/script&gt;"), std::string::npos)
      << page;
  EXPECT_EQ(page.find("<img src=\"x\""), std::string::npos);
  EXPECT_EQ(page.find("pwned</title>"), std::string::npos);
  EXPECT_NE(page.find("<title>RQBehavior profiles</title>"), std::string::npos);

  EXPECT_NE(Render(WithToken("/signals")).find("FARM-DEVICE"), std::string::npos);

  for (const std::string& fragment : {std::string("/"), std::string("/?token=not-the-token")}) {
    const std::string refused = Render(fragment);
    EXPECT_NE(refused.find("data-view=\"token\""), std::string::npos);
    EXPECT_EQ(refused.find("farm-"), std::string::npos);
  }
}

}  // namespace
}  // namespace rqbservice::testing
