#include <gtest/gtest.h>

#include <fstream>

#include "config/Config.h"
#include "support/TemporaryFolder.h"

namespace rqbservice {
namespace {

std::variant<Config, ShowHelp, ConfigError> Parse(std::vector<std::string> arguments) {
  return ParseCommandLine(arguments, "/console");
}

std::string ErrorOf(std::vector<std::string> arguments) {
  const auto parsed = Parse(std::move(arguments));
  const auto* error = std::get_if<ConfigError>(&parsed);
  return error ? error->message : "";
}

TEST(Config, FlagsWinOverTheFileWhateverTheirOrder) {
  const testing::TemporaryFolder folder;
  const std::string path = folder.path / "rqbehavior.conf";
  std::ofstream(path) << "# production\n"
                         "listen = 0.0.0.0:9443\n"
                         "database = postgresql://db.internal/profiles\n"
                         "tls-cert = /etc/ssl/a.pem\n"
                         "tls-key = /etc/ssl/a.key\n"
                         "token-file = /etc/token\n"
                         "threads = 16\n";
  const auto parsed = Parse({"--threads=8", "--config", path, "--listen", "[::1]:0"});
  ASSERT_TRUE(std::holds_alternative<Config>(parsed)) << std::get<ConfigError>(parsed).message;
  const Config& config = std::get<Config>(parsed);
  EXPECT_EQ(config.listen_host, "::1");
  EXPECT_EQ(config.listen_port, 0);
  EXPECT_EQ(config.database, "postgresql://db.internal/profiles");
  EXPECT_EQ(config.threads, 8);
  EXPECT_EQ(config.tls_key, "/etc/ssl/a.key");
}

TEST(Config, RefusesIncompleteOrContradictorySettings) {
  const std::vector<std::string> tls = {"--tls-cert", "c", "--tls-key", "k"};
  auto with = [&](std::vector<std::string> more) {
    more.insert(more.end(), tls.begin(), tls.end());
    return more;
  };
  EXPECT_NE(ErrorOf(with({})).find("--token-file"), std::string::npos);
  EXPECT_NE(ErrorOf({"--token-file", "t"}).find("--tls-cert"), std::string::npos);
  EXPECT_NE(ErrorOf(with({"--token-file", "t", "--plain-http"})).find("exclude"),
            std::string::npos);
  EXPECT_NE(ErrorOf(with({"--token-file", "t", "--listen", "8443"})).find("ADDRESS:PORT"),
            std::string::npos);
  EXPECT_NE(ErrorOf(with({"--token-file", "t", "--threads", "many"})).find("--threads"),
            std::string::npos);
  EXPECT_NE(ErrorOf({"--tokenfile", "t"}).find("unknown setting --tokenfile"), std::string::npos);
  EXPECT_NE(ErrorOf({"--config", "/nonexistent/rqbehavior.conf"}).find("cannot read"),
            std::string::npos);
  EXPECT_TRUE(std::holds_alternative<ShowHelp>(Parse({"--token-file", "t", "--help"})));
  EXPECT_TRUE(std::holds_alternative<Config>(Parse({"--plain-http", "--token-file", "t"})));
}

}  // namespace
}  // namespace rqbservice
