#include "audio/voice_activity_detector.h"

#include <gtest/gtest.h>

#include <vector>

#include "audio/fvad.h"
#include "audio/webrtc_vad.h"

namespace pellum {
namespace {

using Mode = VoiceActivityDetector::Mode;

std::vector<std::int16_t> tone(std::size_t samples, int amplitude = 8000) {
  std::vector<std::int16_t> frame(samples);
  for (std::size_t i = 0; i < samples; ++i)
    frame[i] = static_cast<std::int16_t>((i % 40 < 20) ? amplitude : -amplitude);
  return frame;
}

TEST(VoiceActivityDetectorMode, RawValues) {
  EXPECT_EQ(VoiceActivityDetector::modeFromRawValue(3), Mode::veryAggressive);
  EXPECT_EQ(VoiceActivityDetector::modeFromRawValue(0), Mode::quality);
  EXPECT_EQ(VoiceActivityDetector::modeFromRawValue(4), std::nullopt);
  EXPECT_EQ(VoiceActivityDetector::modeFromRawValue(-1), std::nullopt);
}

TEST(VoiceActivityDetector, RefusesRatesTheDetectorDoesNotTake) {
  EXPECT_EQ(VoiceActivityDetector::create(44100, Mode::veryAggressive), nullptr);
  EXPECT_NE(VoiceActivityDetector::create(16000, Mode::veryAggressive), nullptr);
}

TEST(VoiceActivityDetector, SilenceIsNoVoice) {
  auto vad = VoiceActivityDetector::create(16000, Mode::veryAggressive);
  std::vector<std::int16_t> silence(480, 0);
  for (int i = 0; i < 20; ++i) EXPECT_FALSE(vad->isVoice(silence.data(), silence.size()));
}

TEST(VoiceActivityDetector, WrongFrameLengthIsInvalidAndNoVoice) {
  auto vad = VoiceActivityDetector::create(16000, Mode::quality);
  const auto frame = tone(500);
  EXPECT_EQ(vad->process(frame.data(), frame.size()), -1);
  EXPECT_FALSE(vad->isVoice(frame.data(), frame.size()));
}

TEST(VoiceActivityDetector, ResetKeepsRateAndMode) {
  auto vad = VoiceActivityDetector::create(16000, Mode::aggressive);
  vad->reset();
  const auto frame = tone(480);
  EXPECT_NE(vad->process(frame.data(), frame.size()), -1);  // 480 samples is 30 ms only at 16 kHz
  EXPECT_EQ(vad->sampleRate(), 16000);
  EXPECT_EQ(vad->mode(), Mode::aggressive);
}

// The six calls behave as libfvad documents them.
TEST(Fvad, DefaultsToEightKilohertz) {
  Fvad* inst = fvad_new();
  ASSERT_NE(inst, nullptr);
  const auto at8k = tone(240);   // 30 ms at 8 kHz
  const auto at16k = tone(480);  // 30 ms at 16 kHz
  EXPECT_NE(fvad_process(inst, at8k.data(), at8k.size()), -1);
  EXPECT_EQ(fvad_process(inst, at16k.data(), 320 + 1), -1);
  fvad_free(inst);
}

TEST(Fvad, AcceptsOnlyTheFourRatesAndFourModes) {
  Fvad* inst = fvad_new();
  for (int rate : {8000, 16000, 32000, 48000}) EXPECT_EQ(fvad_set_sample_rate(inst, rate), 0) << rate;
  for (int rate : {0, 11025, 22050, 44100, 96000}) EXPECT_EQ(fvad_set_sample_rate(inst, rate), -1) << rate;
  for (int mode : {0, 1, 2, 3}) EXPECT_EQ(fvad_set_mode(inst, mode), 0) << mode;
  for (int mode : {-1, 4}) EXPECT_EQ(fvad_set_mode(inst, mode), -1) << mode;
  fvad_free(inst);
}

TEST(Fvad, FrameLengthsOfTenTwentyThirtyMilliseconds) {
  Fvad* inst = fvad_new();
  for (int rate : {8000, 16000, 32000, 48000}) {
    ASSERT_EQ(fvad_set_sample_rate(inst, rate), 0);
    const auto perMs = static_cast<std::size_t>(rate / 1000);
    const auto frame = tone(30 * perMs);
    for (std::size_t ms : {10u, 20u, 30u})
      EXPECT_NE(fvad_process(inst, frame.data(), ms * perMs), -1) << rate << " " << ms;
    for (std::size_t ms : {5u, 15u, 40u})
      EXPECT_EQ(fvad_process(inst, frame.data(), ms * perMs), -1) << rate << " " << ms;
  }
  fvad_free(inst);
}

TEST(Fvad, ResetReturnsToTheDefaultRate) {
  Fvad* inst = fvad_new();
  ASSERT_EQ(fvad_set_sample_rate(inst, 16000), 0);
  fvad_reset(inst);
  const auto frame = tone(480);
  EXPECT_EQ(fvad_process(inst, frame.data(), 480), -1);  // 60 ms at 8 kHz
  EXPECT_NE(fvad_process(inst, frame.data(), 240), -1);
  fvad_free(inst);
}

// The hand-written declarations of Debian's detector, called as declared.
TEST(WebRtcVadDeclarations, EachCallAnswersAsDocumented) {
  VadInst* vad = WebRtcVad_Create();
  ASSERT_NE(vad, nullptr);
  EXPECT_EQ(WebRtcVad_Init(vad), 0);
  EXPECT_EQ(WebRtcVad_set_mode(vad, 3), 0);
  EXPECT_EQ(WebRtcVad_set_mode(vad, 7), -1);
  EXPECT_EQ(WebRtcVad_ValidRateAndFrameLength(16000, 480), 0);
  EXPECT_EQ(WebRtcVad_ValidRateAndFrameLength(16000, 481), -1);
  EXPECT_EQ(WebRtcVad_ValidRateAndFrameLength(44100, 441), -1);
  std::vector<std::int16_t> silence(480, 0);
  EXPECT_EQ(WebRtcVad_Process(vad, 16000, silence.data(), silence.size()), 0);
  EXPECT_EQ(WebRtcVad_Process(vad, 16000, silence.data(), 481), -1);
  WebRtcVad_Free(vad);
}

}  // namespace
}  // namespace pellum
