// The Gladia relay's own latency: a real pellum-server whose live engine is
// Gladia, pointed at the scripted fake of Gladia's API (which answers at
// once), against a client talking to the fake directly. Both measure from
// the stop to the end of the transcript (the relay's "done", the fake's
// post_final_transcript); the difference is what the relay adds, target
// under 5 ms. Prints figures; asserts nothing.
#include <sys/stat.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>

#include "server/fake_speech_provider.h"
#include "server/route_client.h"
#include "server/server_process.h"
#include "server/temp_dir.h"
#include "server_bench_support.h"

using namespace pellum;
using namespace pellum::server;
using Clock = std::chrono::steady_clock;

namespace {

constexpr int kRounds = 60;
constexpr const char* kTarget = "/transcribe/stream?provider=gladia&mode=raw&language=en&sample_rate=16000";

double millisecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

// Half a second of audio through the relay; stop to "done".
double throughRelay(unsigned short port, const std::string& token, const std::vector<std::string>& chunks) {
  test::LiveClient client;
  if (client.connect(port, kTarget, token) != 101) return -1;
  for (const auto& chunk : chunks) client.sendBinary(chunk);
  const auto stop = Clock::now();
  client.sendText(R"({"type":"stop"})");
  while (auto message = client.read()) {
    if (test::messageType(*message) == "done") return millisecondsSince(stop);
  }
  return -1;
}

// The same half second straight to the fake; stop_recording to
// post_final_transcript.
double direct(test::FakeSpeechProvider& fake, const std::vector<std::string>& chunks) {
  const auto started =
      test::httpRequest(fake.port(), "POST", "/v2/live",
                        {{"x-gladia-key", "gladia-test-key"}, {"Content-Type", "application/json"}},
                        R"({"encoding":"wav/pcm","sample_rate":16000})");
  const auto reply = nlohmann::json::parse(started.body, nullptr, false);
  if (reply.is_discarded() || !reply.contains("url")) return -1;
  const std::string url = reply["url"];
  test::LiveClient client;
  if (client.connect(fake.port(), url.substr(url.find("/v2/live")), "unused") != 101) return -1;
  // Gladia's frames are 100 ms; the relay sends the desktop's 30 ms chunks as such.
  std::string pcm;
  for (const auto& chunk : chunks) pcm += chunk;
  for (const auto& frame : test::pcmChunks(pcm, 3200)) client.sendBinary(frame);
  const auto stop = Clock::now();
  client.sendText(R"({"type":"stop_recording"})");
  while (auto message = client.read()) {
    if (test::messageType(*message) == "post_final_transcript") return millisecondsSince(stop);
  }
  return -1;
}

void report(const char* name, const std::vector<double>& figures) {
  std::printf("%-28s p50 %7.2f ms  p95 %7.2f ms  (%zu rounds)\n", name, bench::percentile(figures, 50),
              bench::percentile(figures, 95), figures.size());
}

}  // namespace

int main() {
  test::FakeSpeechProvider fake;
  test::FakeSpeechProvider::GladiaScript script;
  script.utterances = {"Hello there.", "How are you?"};
  fake.setGladia(script);
  test::TempDir dir;
  const std::string config = dir.path() + "/engines.conf";
  std::ofstream(config) << "[engines]\nlive = gladia\n[gladia]\nbase_url = " << fake.baseUrl()
                        << "\napi_key = gladia-test-key\n";
  ::chmod(config.c_str(), 0600);
  test::ServerProcess server({"--config", config});
  if (!server.started()) {
    std::fprintf(stderr, "server did not start:\n%s\n", server.output().c_str());
    return 1;
  }
  const std::string token = server.addDevice("relay bench");
  const auto chunks = test::pcmChunks(std::string(16000, '\0'));

  std::vector<double> relayed, straight;
  for (int round = 0; round < kRounds; ++round) {
    if (const double ms = throughRelay(server.transcribePort(), token, chunks); ms >= 0)
      relayed.push_back(ms);
    if (const double ms = direct(fake, chunks); ms >= 0) straight.push_back(ms);
  }
  if (relayed.empty() || straight.empty()) {
    std::fprintf(stderr, "no complete rounds (relayed %zu, direct %zu)\n", relayed.size(), straight.size());
    return 1;
  }
  report("client -> relay -> fake", relayed);
  report("client -> fake", straight);
  const double addedP50 = bench::percentile(relayed, 50) - bench::percentile(straight, 50);
  const double addedP95 = bench::percentile(relayed, 95) - bench::percentile(straight, 95);
  std::printf("relay adds p50 %.2f ms, p95 %.2f ms (target under 5 ms)\n", addedP50, addedP95);
  return 0;
}
