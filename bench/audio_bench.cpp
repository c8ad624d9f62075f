// Audio benchmarks: what one 30 ms chunk costs on the capture thread, and how
// soon audio flows after a key press on the PulseAudio backend. Prints
// figures; asserts nothing.

#include <QCoreApplication>
#include <QFile>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <thread>
#include <variant>
#include <vector>

#include "audio/audio_level.h"
#include "audio/audio_recorder.h"
#include "audio/speech_gate.h"
#include "audio/voice_activity_detector.h"
#include "audio/wav.h"
#include "support/pulse_server.h"

namespace pellum {
namespace {

using Clock = std::chrono::steady_clock;

double microseconds(Clock::duration d) { return std::chrono::duration<double, std::micro>(d).count(); }

double percentile(std::vector<double> values, double p) {
  std::sort(values.begin(), values.end());
  const auto index = static_cast<std::size_t>(p * static_cast<double>(values.size() - 1) + 0.5);
  return values[index];
}

std::string recordedSpeech() {
  QFile file(QStringLiteral(
      "/usr/share/pocketsphinx/test/data/librivox/sense_and_sensibility_01_austen_64kb-0870.wav"));
  if (!file.open(QIODevice::ReadOnly)) return std::string(960 * 200, '\0');
  const QByteArray bytes = file.readAll();
  const auto parsed = parseWav(std::string_view(bytes.constData(), static_cast<std::size_t>(bytes.size())));
  if (!std::holds_alternative<WavInfo>(parsed)) return std::string(960 * 200, '\0');
  return std::string(std::get<WavInfo>(parsed).data);
}

void chunkCost() {
  const std::string speech = recordedSpeech();
  auto vad = VoiceActivityDetector::create(16000, VoiceActivityDetector::Mode::veryAggressive);
  SpeechGate gate([&](const std::string& chunk) {
    return vad->isVoice(reinterpret_cast<const std::int16_t*>(chunk.data()), chunk.size() / 2);
  });
  std::vector<std::string> chunks;
  for (std::size_t at = 0; at + 960 <= speech.size(); at += 960) chunks.push_back(speech.substr(at, 960));

  std::size_t delivered = 0;
  volatile float levels = 0;
  const int rounds = 20;
  const auto begin = Clock::now();
  for (int round = 0; round < rounds; ++round) {
    for (const auto& chunk : chunks) {
      levels = levels + chunkLevel(chunk);
      // Keep the detector in the loop: the costly case is before speech is
      // confirmed, when every chunk is classified.
      gate.reset();
      gate.feed(chunk, [&](const std::string&) { ++delivered; });
    }
  }
  const double perChunkNs = std::chrono::duration<double, std::nano>(Clock::now() - begin).count() /
                            static_cast<double>(rounds * chunks.size());
  std::printf(
      "chunk cost (level + detector + gate): %.0f ns per 30 ms chunk = %.5f%% of the budget (%zu chunks)\n",
      perChunkNs, perChunkNs / 30e6 * 100.0, rounds * chunks.size());
}

// Stamps the first delivery and the moment the first whole chunk exists.
class StampingSource : public CaptureSource {
 public:
  explicit StampingSource(std::unique_ptr<CaptureSource> inner) : inner_(std::move(inner)) {}
  StartResult start(const std::string& device, Deliver deliver, std::string& error) override {
    bytes_ = 0;
    firstBuffer_ = firstChunk_ = Clock::time_point{};
    return inner_->start(
        device,
        [this, deliver](const char* data, std::size_t size) {
          const auto now = Clock::now();
          if (bytes_ == 0) firstBuffer_ = now;
          bytes_ += size;
          if (bytes_ >= 960 && firstChunk_ == Clock::time_point{}) firstChunk_ = now;
          deliver(data, size);
        },
        error);
  }
  void stop() override { inner_->stop(); }

  std::atomic<std::size_t> bytes_{0};
  Clock::time_point firstBuffer_;
  Clock::time_point firstChunk_;

 private:
  std::unique_ptr<CaptureSource> inner_;
};

void pressToAudio() {
  test::PulseServer pulse;
  if (!pulse.isRunning()) {
    std::printf("press-to-audio: skipped (pulseaudio did not start)\n");
    return;
  }
  // A sine source delivers continuously, as a real microphone does.
  pulse.pactl({QStringLiteral("load-module"), QStringLiteral("module-sine-source"),
               QStringLiteral("source_name=sine"), QStringLiteral("rate=16000")});
  pulse.pactl({QStringLiteral("set-default-source"), QStringLiteral("sine")});

  auto stamping = std::make_unique<StampingSource>(makePulseCaptureSource());
  StampingSource* source = stamping.get();
  AudioRecorder recorder(std::move(stamping), [] { return std::nullopt; });
  std::vector<double> startCall, toBuffer, toChunk;
  for (int i = 0; i < 50; ++i) {
    const auto called = Clock::now();
    if (!recorder.start({}, {})) {
      std::printf("press-to-audio: start failed\n");
      return;
    }
    const auto returned = Clock::now();
    const auto deadline = returned + std::chrono::seconds(2);
    while (source->firstChunk_ == Clock::time_point{} && Clock::now() < deadline) {
      std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    recorder.stop();
    if (source->firstChunk_ == Clock::time_point{}) continue;
    startCall.push_back(microseconds(returned - called) / 1000.0);
    toBuffer.push_back(microseconds(source->firstBuffer_ - returned) / 1000.0);
    toChunk.push_back(microseconds(source->firstChunk_ - called) / 1000.0);
  }
  if (toChunk.empty()) {
    std::printf("press-to-audio: no audio arrived\n");
    return;
  }
  std::printf("press-to-audio over %zu starts (ms):\n", toChunk.size());
  std::printf("  start() call         p50 %6.1f  p95 %6.1f\n", percentile(startCall, 0.5),
              percentile(startCall, 0.95));
  std::printf("  start return -> first buffer  p50 %6.1f  p95 %6.1f\n", percentile(toBuffer, 0.5),
              percentile(toBuffer, 0.95));
  std::printf("  press -> first 960-byte chunk p50 %6.1f  p95 %6.1f  (target p95 < 50; peers 400-500)\n",
              percentile(toChunk, 0.5), percentile(toChunk, 0.95));
}

}  // namespace
}  // namespace pellum

int main(int argc, char** argv) {
  QCoreApplication app(argc, argv);
  pellum::chunkCost();
  pellum::pressToAudio();
  return 0;
}
