// The pellum-server process: options, admin commands, start-up line.
#include <gtest/gtest.h>

#include <regex>

#include "server_process.h"

namespace pellum::server::test {
namespace {

TEST(ServerCommandTest, UnknownOptionIsAClearErrorWithStatus2) {
  const auto result = runServerCommand({"--listen-everywhere"});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.err.rfind("pellum-server: unknown option --listen-everywhere\nusage: pellum-server", 0),
            0u)
      << result.err;
  EXPECT_TRUE(result.out.empty());
}

TEST(ServerCommandTest, HelpPrintsUsage) {
  const auto result = runServerCommand({"--help"});
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.out.find("--transcribe-listen HOST:PORT"), std::string::npos);
}

TEST(ServerCommandTest, StartUpPrintsOneListeningLineFirst) {
  ServerProcess server;
  ASSERT_TRUE(server.started());
  EXPECT_NE(server.webPort(), server.transcribePort());
  const std::string output = server.output();
  EXPECT_TRUE(std::regex_search(
      output, std::regex(R"(^listening web=http://127\.0\.0\.1:\d+ transcribe=http://127\.0\.0\.1:\d+\n)")))
      << output;
  EXPECT_EQ(server.terminate(), 0);
}

TEST(ServerCommandTest, PortInUseIsAClearError) {
  ServerProcess first;
  ASSERT_TRUE(first.started());
  TempDir dir;
  const auto result = runServerCommand({"--web-listen", "127.0.0.1:" + std::to_string(first.webPort()),
                                        "--transcribe-listen", "127.0.0.1:0", "--data-dir", dir.path()});
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.err.find("cannot listen on 127.0.0.1:" + std::to_string(first.webPort())),
            std::string::npos)
      << result.err;
}

TEST(ServerCommandTest, DevicesAddListRevoke) {
  TempDir dir;
  const auto added = runServerCommand({"devices", "add", "Desk", "--data-dir", dir.path()});
  ASSERT_EQ(added.status, 0);
  EXPECT_TRUE(std::regex_match(added.out, std::regex("[A-Za-z0-9_-]{43}\n"))) << added.out;
  runServerCommand({"devices", "add", "Laptop", "--data-dir", dir.path()});
  EXPECT_EQ(runServerCommand({"devices", "revoke", "1", "--data-dir", dir.path()}).status, 0);
  const auto listed = runServerCommand({"devices", "list", "--data-dir", dir.path()});
  EXPECT_TRUE(
      std::regex_match(listed.out, std::regex("1\tDesk\tmanual\tcreated=\\S+\tlast-seen=never\trevoked\n"
                                              "2\tLaptop\tmanual\tcreated=\\S+\tlast-seen=never\tactive\n")))
      << listed.out;
  EXPECT_EQ(listed.out.find(added.out.substr(0, 43)), std::string::npos);
  const auto missing = runServerCommand({"devices", "revoke", "7", "--data-dir", dir.path()});
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(missing.err, "pellum-server: no device with id 7\n");
}

}  // namespace
}  // namespace pellum::server::test
