// Live sessions through the documented nginx configuration to two replicas
// on one PostgreSQL store, against one replica reached directly: rounds of
// N clients each stream a recorded utterance at speaking pace, then stop.
// Reports sessions that ended with "done", stop->done p50/p95 and what the
// proxy adds. Both replicas run on this machine, so they share its cores:
// the figures show the cost of the proxy and the shared store, not the gain
// of a second machine. Prints figures; asserts nothing.
#include <cstdio>
#include <memory>
#include <thread>
#include <vector>

#include "audio/wav.h"
#include "live_stream_client.h"
#include "server/load_balancer.h"
#include "server/postgres_server.h"
#include "server/recorded_speech.h"
#include "server/server_process.h"
#include "server_bench_support.h"

using namespace pellum;
using namespace pellum::server;

namespace {

constexpr const char* kTarget = "/transcribe/stream?provider=gladia&mode=clean&language=en&sample_rate=16000";

struct Round {
  std::size_t done = 0;
  double p50 = 0, p95 = 0;
};

Round runRound(unsigned short port, const std::string& token, int clients,
               const std::vector<std::string>& pcms) {
  std::vector<bench::LiveStreamFigures> sessions(static_cast<std::size_t>(clients));
  std::vector<std::thread> threads;
  for (int i = 0; i < clients; ++i) {
    threads.emplace_back([&, i] {
      const auto at = static_cast<std::size_t>(i);
      sessions[at] = bench::streamAtSpeakingPace(port, token, pcms[at % pcms.size()], kTarget);
    });
  }
  for (auto& thread : threads) thread.join();
  std::vector<double> latencies;
  for (const auto& session : sessions) {
    if (session.done) latencies.push_back(session.stopToDoneMs);
  }
  return {latencies.size(), bench::percentile(latencies, 50), bench::percentile(latencies, 95)};
}

}  // namespace

int main() {
  std::vector<std::string> pcms;
  for (const auto& utterance : test::recordedSpeech()) {
    pcms.emplace_back(std::get<WavInfo>(parseWav(test::readFile(utterance.wavPath))).data);
  }
  test::PostgresServer postgres;
  if (!postgres.started()) {
    std::printf("PostgreSQL did not start: %s\n", postgres.failure().c_str());
    return 1;
  }
  const std::string store = postgres.createDatabase();
  const std::vector<std::string> options{"--store", store, "--trusted-proxy", "127.0.0.1"};
  test::ServerProcess a(options), b(options);
  if (!a.started() || !b.started()) {
    std::printf("a replica did not start\n");
    return 1;
  }
  test::LoadBalancer proxy(test::LoadBalancer::Kind::nginx,
                           {{a.webPort(), a.transcribePort()}, {b.webPort(), b.transcribePort()}});
  if (!proxy.started()) {
    std::printf("%s\n", proxy.failure().c_str());
    return 1;
  }
  const std::string token = a.addDevice("bench");
  // The decoders built at start are built in the background; one round
  // through the proxy then grows both replicas' pools, so that no measured
  // round pays for building decoders.
  std::this_thread::sleep_for(std::chrono::seconds(3));
  runRound(proxy.port(), token, 24, pcms);
  std::printf("%u cores; both replicas on this machine; live streams at speaking pace, clean mode, 3-7 s\n",
              std::thread::hardware_concurrency());
  std::printf("%8s | %-28s | %-28s | %s\n", "sessions", "one replica, direct", "two replicas behind nginx",
              "p95 ratio");
  std::printf("%8s | %6s %9s %9s  | %6s %9s %9s  |\n", "", "done", "p50", "p95", "done", "p50", "p95");
  for (int clients : {8, 16, 24}) {
    const Round direct = runRound(a.transcribePort(), token, clients, pcms);
    const Round proxied = runRound(proxy.port(), token, clients, pcms);
    std::printf("%8d | %6zu %6.0f ms %6.0f ms | %6zu %6.0f ms %6.0f ms | %.2f\n", clients, direct.done,
                direct.p50, direct.p95, proxied.done, proxied.p50, proxied.p95,
                direct.p95 > 0 ? proxied.p95 / direct.p95 : 0);
  }
  std::printf("peak memory: replica A %.0f MB, replica B %.0f MB\n", bench::statusMegabytes(a.pid(), "VmHWM"),
              bench::statusMegabytes(b.pid(), "VmHWM"));
  return 0;
}
