// Concurrent live streams against a real pellum-server: N clients (1, 2, 4,
// 8, 16) each stream a recorded utterance at speaking pace, 30 ms a chunk,
// then stop. Reports the time from stop to "done" and each session's wall
// time over its audio length, then the upload route's time per second of
// audio. Prints figures; asserts nothing.
#include <chrono>
#include <cstdio>
#include <thread>

#include "audio/wav.h"
#include "live_stream_client.h"
#include "server/recorded_speech.h"
#include "server/route_client.h"
#include "server/server_process.h"
#include "server_bench_support.h"
#include "transcription/multipart_body.h"

using namespace pellum;
using namespace pellum::server;
using Clock = std::chrono::steady_clock;

namespace {

constexpr const char* kTarget = "/transcribe/stream?provider=gladia&mode=clean&language=en&sample_rate=16000";

}  // namespace

int main() {
  std::vector<std::string> pcms;
  std::vector<std::string> files;
  for (const auto& utterance : test::recordedSpeech()) {
    files.push_back(test::readFile(utterance.wavPath));
    pcms.emplace_back(std::get<WavInfo>(parseWav(files.back())).data);
  }
  test::ServerProcess server({"--decoders", "16"});
  if (!server.started()) {
    std::printf("server did not start\n");
    return 1;
  }
  const std::string token = server.addDevice("bench");
  std::printf("%u cores; live streams at speaking pace, clean mode, recorded speech of 3-7 s\n",
              std::thread::hardware_concurrency());
  std::printf("%8s %16s %16s %14s %8s\n", "streams", "stop->done p50", "stop->done p95", "wall/audio",
              "failed");
  int largestUnder500 = 0;
  for (int n : {1, 2, 4, 8, 16}) {
    std::vector<bench::LiveStreamFigures> results(static_cast<std::size_t>(n));
    std::vector<std::thread> clients;
    for (int i = 0; i < n; ++i) {
      clients.emplace_back([&, i] {
        results[static_cast<std::size_t>(i)] = bench::streamAtSpeakingPace(
            server.transcribePort(), token, pcms[static_cast<std::size_t>(i) % pcms.size()], kTarget);
      });
    }
    for (auto& client : clients) client.join();
    std::vector<double> latencies, ratios;
    int failed = 0;
    for (const auto& result : results) {
      if (!result.done) {
        ++failed;
        continue;
      }
      latencies.push_back(result.stopToDoneMs);
      ratios.push_back(result.wallOverAudio);
    }
    const double p95 = bench::percentile(latencies, 95);
    std::printf("%8d %13.0f ms %13.0f ms %14.2f %8d\n", n, bench::percentile(latencies, 50), p95,
                bench::percentile(ratios, 50), failed);
    if (failed == 0 && p95 < 500) largestUnder500 = n;
  }
  std::printf("largest N with stop->done p95 under 500 ms: %d\n", largestUnder500);

  double audioSeconds = 0, requestSeconds = 0;
  for (const auto& file : files) {
    const auto start = Clock::now();
    test::httpRequest(server.transcribePort(), "POST", "/transcribe",
                      {{"Content-Type", multipartContentType("b")}, {"Authorization", "Bearer " + token}},
                      buildMultipartBody("b", TranscriptionMode::clean, "en", "audio/wav", file));
    requestSeconds += std::chrono::duration<double>(Clock::now() - start).count();
    audioSeconds += static_cast<double>(std::get<WavInfo>(parseWav(file)).data.size()) / 32000;
  }
  std::printf("upload: %.0f ms from request to done per second of audio (%.1f s of audio in %zu requests)\n",
              1000 * requestSeconds / audioSeconds, audioSeconds, files.size());
  return 0;
}
