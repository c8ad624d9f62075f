// Health, readiness and metrics of a real server on loopback, as a load
// balancer and a Prometheus scrape read them.
#include <gtest/gtest.h>

#include <chrono>
#include <regex>
#include <sstream>
#include <thread>

#include "route_client.h"
#include "server_process.h"

namespace pellum::server::test {
namespace {

// The value of the sample named exactly `sample` ("name{labels}"), or -1.
double sampleValue(const std::string& text, const std::string& sample) {
  const auto at = text.find("\n" + sample + " ");
  if (at == std::string::npos) return -1;
  return std::stod(text.substr(at + sample.size() + 2));
}

TEST(OperatorRoutes, HealthAndReadinessNeedNoToken) {
  ServerProcess server;
  ASSERT_TRUE(server.started()) << server.output();
  const HttpReply health = httpRequest(server.transcribePort(), "GET", "/healthz");
  EXPECT_EQ(health.status, 200);
  EXPECT_EQ(health.body, "ok\n");
  const HttpReply ready = httpRequest(server.transcribePort(), "GET", "/readyz");
  EXPECT_EQ(ready.status, 200);
  EXPECT_EQ(ready.body, "ready: device store answers, speech engines loaded\n");
  EXPECT_EQ(ready.headers.at("content-type"), "text/plain; charset=utf-8");
}

TEST(OperatorRoutes, NotOnThePublicPairingPort) {
  ServerProcess server;
  ASSERT_TRUE(server.started()) << server.output();
  for (const char* path : {"/metrics", "/healthz", "/readyz"})
    EXPECT_EQ(httpRequest(server.webPort(), "GET", path).status, 404) << path;
}

TEST(OperatorRoutes, MetricsCountWhatHappened) {
  ServerProcess server;
  ASSERT_TRUE(server.started()) << server.output();
  const std::string token = server.addDevice("metrics");
  EXPECT_EQ(httpRequest(server.transcribePort(), "GET", "/transcribe/stream").status, 401);
  EXPECT_EQ(httpRequest(server.transcribePort(), "GET", "/nowhere").status, 404);
  {
    LiveClient client;
    ASSERT_EQ(
        client.connect(server.transcribePort(),
                       "/transcribe/stream?provider=gladia&mode=raw&language=en&sample_rate=16000", token),
        101);
    for (const auto& chunk : pcmChunks(std::string(32000, '\0')))
      client.sendBinary(chunk);  // a second of silence
    client.sendText(R"({"type":"stop"})");
    client.readAll();
  }
  std::string text;
  // The session's end is counted as it closes, it stays open until its
  // close handshake is over, and the decoders' warm-up queued at start may
  // still be waiting: scrape until the server is idle.
  for (int attempt = 0; attempt < 100; ++attempt) {
    text = "\n" + httpRequest(server.transcribePort(), "GET", "/metrics").body;
    if (sampleValue(text, "pellum_stop_to_done_seconds_count") == 1 &&
        sampleValue(text, "pellum_decode_queue_depth") == 0 && sampleValue(text, "pellum_live_sessions") == 0)
      break;
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  EXPECT_EQ(sampleValue(text, "pellum_stop_to_done_seconds_count"), 1) << text;
  EXPECT_GT(sampleValue(text, "pellum_stop_to_done_seconds_sum"), 0);
  EXPECT_EQ(sampleValue(text, "pellum_requests_total{route=\"GET /transcribe/stream\",status=\"401\"}"), 1);
  EXPECT_EQ(sampleValue(text, "pellum_requests_total{route=\"GET /transcribe/stream\",status=\"101\"}"), 1);
  EXPECT_EQ(sampleValue(text, "pellum_requests_total{route=\"other\",status=\"404\"}"), 1);
  EXPECT_EQ(sampleValue(text, "pellum_live_sessions"), 0);
  EXPECT_EQ(sampleValue(text, "pellum_uploads_in_flight"), 0);
  EXPECT_EQ(sampleValue(text, "pellum_decode_queue_depth"), 0);
  EXPECT_EQ(sampleValue(text, "pellum_store_errors_total"), 0);
  // Every sample line is "name{labels} number", as the text format has it.
  const std::regex sample(R"(^[a-z_]+(\{[^}]*\})? [-+0-9.eInf]+$)");
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (line.empty() || line.starts_with("# ")) continue;
    EXPECT_TRUE(std::regex_match(line, sample)) << line;
  }
}

}  // namespace
}  // namespace pellum::server::test
