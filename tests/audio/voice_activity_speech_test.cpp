// The detector on real recorded speech (pocketsphinx-testdata) and on
// silence and low noise, in the mode the recorder uses.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <variant>

#include "audio/voice_activity_detector.h"
#include "audio/wav.h"

namespace pellum {
namespace {

const std::filesystem::path kSpeechDir = "/usr/share/pocketsphinx/test/data/librivox";

std::string readFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

double rms(const std::int16_t* samples, std::size_t count) {
  double sum = 0;
  for (std::size_t i = 0; i < count; ++i) sum += static_cast<double>(samples[i]) * samples[i];
  return std::sqrt(sum / static_cast<double>(count));
}

TEST(VoiceActivityOnSpeech, LoudFramesOfRecordedSpeechAreVoice) {
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(kSpeechDir)) {
    if (entry.path().extension() != ".wav") continue;
    ++files;
    const std::string bytes = readFile(entry.path());
    const auto parsed = parseWav(bytes);
    ASSERT_TRUE(std::holds_alternative<WavInfo>(parsed)) << entry.path();
    const auto& info = std::get<WavInfo>(parsed);
    ASSERT_EQ(info.sampleRate, 16000u);
    auto vad = VoiceActivityDetector::create(16000, VoiceActivityDetector::Mode::veryAggressive);
    const auto* samples = reinterpret_cast<const std::int16_t*>(info.data.data());
    const std::size_t frames = info.data.size() / 960;
    int loud = 0;
    int loudVoiced = 0;
    int voiced = 0;
    for (std::size_t f = 0; f < frames; ++f) {
      const bool isVoice = vad->isVoice(samples + f * 480, 480);
      voiced += isVoice;
      if (rms(samples + f * 480, 480) > 1000) {
        ++loud;
        loudVoiced += isVoice;
      }
    }
    ASSERT_GT(loud, 10) << entry.path();
    EXPECT_GT(static_cast<double>(loudVoiced) / loud, 0.8) << entry.path();
    EXPECT_GT(static_cast<double>(voiced) / static_cast<double>(frames), 0.5) << entry.path();
  }
  EXPECT_EQ(files, 5);
}

TEST(VoiceActivityOnSpeech, DigitalSilenceAndLowNoiseAreNot) {
  auto vad = VoiceActivityDetector::create(16000, VoiceActivityDetector::Mode::veryAggressive);
  std::vector<std::int16_t> frame(480, 0);
  for (int i = 0; i < 100; ++i) EXPECT_FALSE(vad->isVoice(frame.data(), frame.size()));
  vad->reset();
  std::mt19937 random(7);
  std::normal_distribution<double> noise(0.0, 30.0);
  // A fresh detector calls the first few frames of anything voice while its
  // noise estimate settles (about 100 ms; libfvad behaves the same). Past
  // that, low noise is never voice.
  int voicedAfterSettling = 0;
  for (int i = 0; i < 300; ++i) {
    for (auto& sample : frame) sample = static_cast<std::int16_t>(noise(random));
    const bool isVoice = vad->isVoice(frame.data(), frame.size());
    if (i >= 5) voicedAfterSettling += isVoice;
  }
  EXPECT_EQ(voicedAfterSettling, 0);
}

}  // namespace
}  // namespace pellum
