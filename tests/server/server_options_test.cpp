#include "server_options.h"

#include <gtest/gtest.h>

namespace pellum::server {
namespace {

std::optional<std::string> homeOnly(std::string_view name) {
  if (name == "HOME") return "/home/ann";
  return std::nullopt;
}

std::variant<ServerOptions, OptionsError> parse(std::vector<std::string> args) {
  return parseOptions(args, homeOnly);
}

TEST(ServerOptionsTest, Defaults) {
  auto parsed = parse({});
  ASSERT_TRUE(std::holds_alternative<ServerOptions>(parsed));
  const auto& options = std::get<ServerOptions>(parsed);
  EXPECT_EQ(options.command, Command::serve);
  EXPECT_EQ(options.web.host, "127.0.0.1");
  EXPECT_EQ(options.web.port, 3000);
  EXPECT_EQ(options.transcribe.port, 3001);
  EXPECT_EQ(options.dataDir, "/home/ann/.local/share/pellum-server");
  EXPECT_EQ(options.limits.maxMessageBytes, 64u * 1024u);
  EXPECT_EQ(options.limits.maxSessionAudio, std::chrono::minutes(10));
  EXPECT_EQ(options.limits.idleTimeout, std::chrono::seconds(30));
  EXPECT_EQ(options.maxDecoders, 0);  // sized at start by cores and memory
  EXPECT_EQ(options.limits.decoderWait, std::chrono::milliseconds(5000));
}

TEST(ServerOptionsTest, DecoderWait) {
  auto parsed = parse({"--decoder-wait-ms", "0"});
  ASSERT_TRUE(std::holds_alternative<ServerOptions>(parsed)) << std::get<OptionsError>(parsed).description;
  EXPECT_EQ(std::get<ServerOptions>(parsed).limits.decoderWait, std::chrono::milliseconds(0));
  EXPECT_EQ(std::get<OptionsError>(parse({"--decoder-wait-ms", "soon"})).description,
            "--decoder-wait-ms expects milliseconds from 0 to 600000");
}

TEST(ServerOptionsTest, XdgDataHomeWins) {
  auto parsed = parseOptions({}, [](std::string_view name) -> std::optional<std::string> {
    return name == "XDG_DATA_HOME" ? std::optional<std::string>("/data")
                                   : std::optional<std::string>("/home/ann");
  });
  EXPECT_EQ(std::get<ServerOptions>(parsed).dataDir, "/data/pellum-server");
}

TEST(ServerOptionsTest, ListenAddressesAndLimits) {
  auto parsed = parse({"--web-listen", "127.0.0.1:0", "--transcribe-listen=[::1]:4001", "--data-dir",
                       "/tmp/x", "--idle-timeout", "2", "--max-session-audio=5", "--decoders", "3"});
  ASSERT_TRUE(std::holds_alternative<ServerOptions>(parsed)) << std::get<OptionsError>(parsed).description;
  const auto& options = std::get<ServerOptions>(parsed);
  EXPECT_EQ(options.web.port, 0);
  EXPECT_EQ(options.transcribe.host, "::1");
  EXPECT_EQ(options.transcribe.port, 4001);
  EXPECT_EQ(options.dataDir, "/tmp/x");
  EXPECT_EQ(options.limits.idleTimeout, std::chrono::seconds(2));
  EXPECT_EQ(options.limits.maxSessionAudio, std::chrono::seconds(5));
  EXPECT_EQ(options.maxDecoders, 3);
}

TEST(ServerOptionsTest, InjectedLiveFailureForTestingClients) {
  EXPECT_EQ(std::get<ServerOptions>(parse({})).limits.failLiveAfter, std::chrono::milliseconds(0));
  auto parsed = parse({"--fail-live-after-ms", "750"});
  ASSERT_TRUE(std::holds_alternative<ServerOptions>(parsed));
  EXPECT_EQ(std::get<ServerOptions>(parsed).limits.failLiveAfter, std::chrono::milliseconds(750));
  EXPECT_EQ(std::get<OptionsError>(parse({"--fail-live-after-ms", "soon"})).description,
            "--fail-live-after-ms expects milliseconds from 1 to 86400000");
}

TEST(ServerOptionsTest, DeviceCommands) {
  auto add = parse({"devices", "add", "Ann's laptop", "--data-dir", "/d"});
  ASSERT_TRUE(std::holds_alternative<ServerOptions>(add));
  EXPECT_EQ(std::get<ServerOptions>(add).command, Command::devicesAdd);
  EXPECT_EQ(std::get<ServerOptions>(add).commandArgument, "Ann's laptop");
  EXPECT_EQ(std::get<ServerOptions>(parse({"devices", "list"})).command, Command::devicesList);
  EXPECT_EQ(std::get<ServerOptions>(parse({"devices", "revoke", "4"})).command, Command::devicesRevoke);
}

TEST(ServerOptionsTest, ErrorsNameTheProblem) {
  struct Case {
    std::vector<std::string> args;
    std::string error;
  };
  for (const auto& [args, error] : std::vector<Case>{
           {{"--bogus"}, "unknown option --bogus"},
           {{"--bogus=1"}, "unknown option --bogus"},
           {{"--web-listen"}, "--web-listen needs a value"},
           {{"--web-listen", "nohost"}, "--web-listen expects HOST:PORT, got \"nohost\""},
           {{"--transcribe-listen", "127.0.0.1:70000"},
            "--transcribe-listen expects HOST:PORT, got \"127.0.0.1:70000\""},
           {{"--decoders", "0"}, "--decoders expects a number from 1 to 256"},
           {{"serve"}, "unknown command \"serve\""},
           {{"devices", "add"}, "usage: devices list | devices add NAME | devices revoke ID"},
       }) {
    auto parsed = parse(args);
    ASSERT_TRUE(std::holds_alternative<OptionsError>(parsed)) << args.front();
    EXPECT_EQ(std::get<OptionsError>(parsed).description, error);
  }
}

TEST(ServerOptionsTest, EnginesFileAndTheEnginesCommand) {
  auto serving = parse({"--config", "/etc/pellum/engines.conf"});
  EXPECT_EQ(std::get<ServerOptions>(serving).configPath, "/etc/pellum/engines.conf");
  EXPECT_TRUE(std::get<ServerOptions>(parse({})).configPath.empty());
  auto checking = parse({"engines", "--config=/tmp/e.conf"});
  EXPECT_EQ(std::get<ServerOptions>(checking).command, Command::engines);
  EXPECT_EQ(std::get<ServerOptions>(checking).configPath, "/tmp/e.conf");
  EXPECT_EQ(std::get<OptionsError>(parse({"engines", "check"})).description, "usage: engines");
  EXPECT_EQ(std::get<OptionsError>(parse({"--config"})).description, "--config needs a value");
  EXPECT_EQ(std::get<OptionsError>(parse({"--config="})).description, "--config expects a file");
}

TEST(ServerOptionsTest, Help) {
  EXPECT_EQ(std::get<ServerOptions>(parse({"--help"})).command, Command::help);
}

TEST(ServerOptionsTest, SharedStoreIsAPostgresqlUrl) {
  auto parsed = parse({"--store", "postgresql://pellum@db.example/pellum", "devices", "list"});
  ASSERT_TRUE(std::holds_alternative<ServerOptions>(parsed));
  EXPECT_EQ(std::get<ServerOptions>(parsed).storeUrl, "postgresql://pellum@db.example/pellum");
  EXPECT_EQ(std::get<ServerOptions>(parse({})).storeUrl, "");
  auto wrong = parse({"--store", "mysql://root:hunter2@db/pellum"});
  ASSERT_TRUE(std::holds_alternative<OptionsError>(wrong));
  const auto& error = std::get<OptionsError>(wrong).description;
  EXPECT_EQ(error, "--store expects a postgresql:// URL, got \"mysql://root:***@db/pellum\"");
}

TEST(ServerOptionsTest, TrustedProxiesAreIpAddresses) {
  auto parsed = parse({"--trusted-proxy", "127.0.0.1,10.0.0.2"});
  ASSERT_TRUE(std::holds_alternative<ServerOptions>(parsed));
  EXPECT_TRUE(std::get<ServerOptions>(parsed).proxies.trusts("10.0.0.2"));
  EXPECT_TRUE(std::get<ServerOptions>(parse({})).proxies.empty());
  auto wrong = parse({"--trusted-proxy", "lb.example"});
  ASSERT_TRUE(std::holds_alternative<OptionsError>(wrong));
  EXPECT_EQ(std::get<OptionsError>(wrong).description,
            "--trusted-proxy expects IP addresses separated by commas, got \"lb.example\"");
}

}  // namespace
}  // namespace pellum::server
