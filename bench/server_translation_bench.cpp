// Translation cost with Apertium's eng-spa pair: the server's persistent
// null-flushing pipeline against one `apertium -u` process per text.
// Prints figures; asserts nothing.
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "apertium_modes.h"
#include "apertium_pipeline.h"
#include "server/recorded_speech.h"
#include "server_bench_support.h"

using namespace pellum::server;
using Clock = std::chrono::steady_clock;

namespace {

double msSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

double oneShotMs(const std::string& text) {
  const auto start = Clock::now();
  const std::string command = "printf '%s' '" + text + "' | apertium -u eng-spa > /dev/null";
  if (std::system(command.c_str()) != 0) return -1;
  return msSince(start);
}

}  // namespace

int main() {
  std::vector<std::string> texts;
  for (const auto& utterance : test::recordedSpeech()) texts.push_back(utterance.reference + ".");
  ApertiumPipeline pipeline(nullFlushPipeline(test::readFile("/usr/share/apertium/modes/eng-spa.mode")));
  auto start = Clock::now();
  if (!pipeline.translate("Hello.")) {
    std::printf("eng-spa pipeline did not answer (is apertium-eng-spa installed?)\n");
    return 1;
  }
  const double firstMs = msSince(start);
  std::vector<double> persistent, oneShot;
  for (int round = 0; round < 4; ++round) {
    for (const auto& text : texts) {
      start = Clock::now();
      pipeline.translate(text);
      persistent.push_back(msSince(start));
      oneShot.push_back(oneShotMs(text));
    }
  }
  std::printf("eng-spa, %zu sentences of 8-22 words\n", persistent.size());
  std::printf("persistent pipeline: first text %.0f ms (start-up), then p50 %.1f ms, p95 %.1f ms\n", firstMs,
              bench::percentile(persistent, 50), bench::percentile(persistent, 95));
  std::printf("one-shot apertium -u: p50 %.0f ms, p95 %.0f ms\n", bench::percentile(oneShot, 50),
              bench::percentile(oneShot, 95));
  return 0;
}
