// How many real-time live sessions one pellum-server holds: rounds of N
// clients (8, 16, then 16 again on the grown pool) each stream a recorded
// utterance at speaking pace, 30 ms a chunk, then stop; then a burst of 200
// one-second sessions opened at once. Reports sessions that ended with
// "done" and those refused "server busy", stop->done p50/p95, and the
// server's resident and peak memory (VmRSS, VmHWM). The server runs with
// its default options unless options are given on the command line
// (`server_capacity_bench --decoders 8`). Prints figures; asserts nothing.
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "audio/wav.h"
#include "live_stream_client.h"
#include "server/recorded_speech.h"
#include "server/route_client.h"
#include "server/server_process.h"
#include "server_bench_support.h"

using namespace pellum;
using namespace pellum::server;

namespace {

constexpr const char* kTarget = "/transcribe/stream?provider=gladia&mode=clean&language=en&sample_rate=16000";

// A refused client may lose the error message to the connection's reset
// while it still sends, so refusals are counted in the server's log.
std::size_t refusalsLogged(const test::ServerProcess& server) {
  const std::string log = server.output();
  std::size_t count = 0;
  for (auto at = log.find("error: server busy"); at != std::string::npos;
       at = log.find("error: server busy", at + 1)) {
    ++count;
  }
  return count;
}

void runRound(const char* label, int clients, const std::vector<std::string>& pcms,
              const test::ServerProcess& server, const std::string& token) {
  const std::size_t refusedBefore = refusalsLogged(server);
  std::vector<bench::LiveStreamFigures> sessions(static_cast<std::size_t>(clients));
  std::vector<std::thread> threads;
  for (int i = 0; i < clients; ++i) {
    threads.emplace_back([&, i] {
      const auto at = static_cast<std::size_t>(i);
      sessions[at] =
          bench::streamAtSpeakingPace(server.transcribePort(), token, pcms[at % pcms.size()], kTarget);
    });
  }
  for (auto& thread : threads) thread.join();
  std::vector<double> latencies;
  for (const auto& session : sessions) {
    if (session.done) latencies.push_back(session.stopToDoneMs);
  }
  const std::size_t refused = refusalsLogged(server) - refusedBefore;
  const std::size_t failed = sessions.size() - latencies.size() - refused;
  std::printf("%-10s %8d %6zu %8zu %7zu %11.0f ms %8.0f ms %6.0f MB %6.0f MB\n", label, clients,
              latencies.size(), refused, failed, bench::percentile(latencies, 50),
              bench::percentile(latencies, 95), bench::statusMegabytes(server.pid(), "VmRSS"),
              bench::statusMegabytes(server.pid(), "VmHWM"));
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> pcms;
  for (const auto& utterance : test::recordedSpeech()) {
    pcms.emplace_back(std::get<WavInfo>(parseWav(test::readFile(utterance.wavPath))).data);
  }
  std::vector<std::string> oneSecond;
  for (const auto& pcm : pcms) oneSecond.push_back(pcm.substr(0, 32000));
  std::vector<std::string> options(argv + 1, argv + argc);
  test::ServerProcess server(options);
  if (!server.started()) {
    std::printf("server did not start\n");
    return 1;
  }
  const std::string token = server.addDevice("bench");
  // The decoders built at start are built in the background.
  std::this_thread::sleep_for(std::chrono::seconds(3));
  std::string shown;
  for (const auto& option : options) shown += " " + option;
  std::printf("%u cores; server options:%s; live streams at speaking pace, clean mode, 3-7 s of speech\n",
              std::thread::hardware_concurrency(), shown.empty() ? " (defaults)" : shown.c_str());
  const std::string log = server.output();
  const auto pool = log.find("speech decoders:");
  std::printf("%s; idle: VmRSS %.0f MB\n",
              pool == std::string::npos ? "decoder pool not logged"
                                        : log.substr(pool, log.find('\n', pool) - pool).c_str(),
              bench::statusMegabytes(server.pid(), "VmRSS"));
  std::printf("%-10s %8s %6s %8s %7s %14s %11s %9s %9s\n", "round", "sessions", "done", "refused", "other",
              "stop->done p50", "p95", "VmRSS", "VmHWM");
  runRound("first 8", 8, pcms, server, token);
  runRound("first 16", 16, pcms, server, token);
  runRound("again 16", 16, pcms, server, token);
  runRound("burst 1 s", 200, oneSecond, server, token);
  return 0;
}
