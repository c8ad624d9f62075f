// Rolling restarts: with --drain-seconds, SIGTERM stops new connections but
// lets the open live session finish; past the drain it is cut as before.
#include <signal.h>

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "route_client.h"
#include "server_process.h"

namespace pellum::server::test {
namespace {

using namespace std::chrono_literals;

constexpr const char* kTarget = "/transcribe/stream?provider=gladia&mode=raw&language=en&sample_rate=16000";

bool logShows(const ServerProcess& server, const std::string& text) {
  for (int i = 0; i < 200; ++i) {
    if (server.output().find(text) != std::string::npos) return true;
    std::this_thread::sleep_for(25ms);
  }
  return false;
}

TEST(ServerDrain, AnOpenSessionFinishesAndNothingNewIsAccepted) {
  ServerProcess server({"--drain-seconds", "20"});
  ASSERT_TRUE(server.started()) << server.output();
  const std::string token = server.addDevice("drain");
  LiveClient client;
  ASSERT_EQ(client.connect(server.transcribePort(), kTarget, token), 101);
  const std::string second(16000 * 2, '\0');
  client.sendBinary(second.substr(0, 960));

  kill(server.pid(), SIGTERM);
  ASSERT_TRUE(logShows(server,
                       "draining: no new connections; 1 live session(s) and 0 upload(s) may finish "
                       "within 20 s"))
      << server.output();
  EXPECT_EQ(httpRequest(server.transcribePort(), "GET", "/healthz").status, 0);  // refused
  for (const auto& chunk : pcmChunks(second)) client.sendBinary(chunk);
  client.sendText(R"({"type":"stop"})");
  const auto messages = client.readAll();
  ASSERT_FALSE(messages.empty());
  EXPECT_EQ(messages.back(), R"({"type":"error","error":"no speech detected"})");  // its own end, not a cut
  EXPECT_EQ(server.terminate(), 0);
  EXPECT_NE(server.output().find("pellum-server: stopped"), std::string::npos);
}

TEST(ServerDrain, PastTheDrainTheSessionIsCut) {
  ServerProcess server({"--drain-seconds", "1"});
  ASSERT_TRUE(server.started()) << server.output();
  const std::string token = server.addDevice("drain");
  LiveClient client;
  ASSERT_EQ(client.connect(server.transcribePort(), kTarget, token), 101);
  client.sendBinary(std::string(960, '\0'));
  const auto signalled = std::chrono::steady_clock::now();
  kill(server.pid(), SIGTERM);
  const auto messages = client.readAll();
  const double waited = std::chrono::duration<double>(std::chrono::steady_clock::now() - signalled).count();
  ASSERT_FALSE(messages.empty());
  EXPECT_EQ(messages.back(), R"j({"type":"error","error":"server shutting down"})j");
  EXPECT_GE(waited, 0.9);
  EXPECT_EQ(server.terminate(), 0);
}

TEST(ServerDrain, NothingOpenMeansNoWait) {
  ServerProcess server({"--drain-seconds", "60"});
  ASSERT_TRUE(server.started()) << server.output();
  EXPECT_EQ(server.terminate(), 0);
  EXPECT_EQ(server.output().find("draining"), std::string::npos);
}

}  // namespace
}  // namespace pellum::server::test
