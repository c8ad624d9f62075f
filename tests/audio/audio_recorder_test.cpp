// The recorder's logic over a capture source the test drives by hand.
#include "audio/audio_recorder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "support/event_loop.h"
#include "support/fake_capture_source.h"

namespace pellum {
namespace {

using test::FakeCaptureSource;

// Loud, speech-band noise: what the detector calls voice in every mode.
std::string loudAudio(std::size_t bytes) {
  std::string pcm(bytes - bytes % 2, '\0');
  std::uint32_t state = 12345;
  for (std::size_t i = 0; i + 1 < pcm.size(); i += 2) {
    state = state * 1664525u + 1013904223u;
    const double t = static_cast<double>(i / 2) / 16000.0;
    const auto sample =
        static_cast<std::int16_t>(9000 * std::sin(2 * M_PI * 220 * t) + 6000 * std::sin(2 * M_PI * 660 * t) +
                                  static_cast<int>(state >> 20) - 2048);
    std::memcpy(pcm.data() + i, &sample, 2);
  }
  return pcm;
}

class AudioRecorderTest : public ::testing::Test {
 protected:
  AudioRecorderTest() {
    auto source = std::make_unique<FakeCaptureSource>();
    source_ = source.get();
    recorder_ = std::make_unique<AudioRecorder>(std::move(source), [this] { return device_; });
  }

  // Level tasks already posted to the main thread point at this fixture:
  // run them before it goes.
  void TearDown() override {
    recorder_->stop();
    drainLevels();
  }

  bool start() {
    return recorder_->start([this](const std::string& chunk) { chunks_.push_back(chunk); },
                            [this](float level) { levels_.push_back(level); });
  }
  void drainLevels() { QCoreApplication::processEvents(); }

  FakeCaptureSource* source_;
  std::optional<AudioInputDevice> device_;
  std::unique_ptr<AudioRecorder> recorder_;
  std::vector<std::string> chunks_;
  std::vector<float> levels_;
};

TEST_F(AudioRecorderTest, ThousandByteBuffersAreCutInto960ByteChunks) {
  ASSERT_TRUE(start());
  source_->push(std::string(1000, '\0'));
  drainLevels();
  EXPECT_EQ(levels_.size(), 1u);
  source_->push(std::string(1000, '\0'));
  drainLevels();
  EXPECT_EQ(levels_.size(), 2u);  // 1040 bytes were pending: one more chunk, 80 left
  EXPECT_EQ(recorder_->stop().size(), 44u + 2000u);
}

TEST_F(AudioRecorderTest, OneBufferOfTwoChunksGivesTwoLevelsInOrder) {
  ASSERT_TRUE(start());
  std::string buffer(960, '\0');
  const std::int16_t loud = 1000;
  for (std::size_t i = 0; i < 480; ++i) buffer.append(reinterpret_cast<const char*>(&loud), 2);
  buffer += std::string(80, '\0');
  source_->push(buffer);
  drainLevels();
  ASSERT_EQ(levels_.size(), 2u);
  EXPECT_EQ(levels_[0], 0.0f);
  EXPECT_NEAR(levels_[1], 0.38466, 1e-5);
}

TEST_F(AudioRecorderTest, StopRightAfterStartIsABareHeader) {
  ASSERT_TRUE(start());
  const auto wav = recorder_->stop();
  ASSERT_EQ(wav.size(), 44u);
  EXPECT_EQ(wav.substr(0, 4), "RIFF");
}

TEST_F(AudioRecorderTest, OneSecondRecordingIs32044Bytes) {
  ASSERT_TRUE(start());
  for (int i = 0; i < 10; ++i) source_->push(std::string(3200, '\0'));
  const auto wav = recorder_->stop();
  EXPECT_EQ(wav.size(), 32044u);
  std::uint32_t dataLength;
  std::memcpy(&dataLength, wav.data() + 40, 4);
  EXPECT_EQ(dataLength, 32000u);
}

TEST_F(AudioRecorderTest, SilentRecordingPostsLevelsButNoChunks) {
  ASSERT_TRUE(start());
  for (int i = 0; i < 20; ++i) source_->push(std::string(960, '\0'));
  source_->push(std::string(200, '\0'));
  recorder_->stop();
  drainLevels();
  EXPECT_EQ(levels_.size(), 20u);
  for (float level : levels_) EXPECT_EQ(level, 0.0f);
  EXPECT_TRUE(chunks_.empty());
}

TEST_F(AudioRecorderTest, AfterSpeechTheRemainderIsTheLastChunk) {
  ASSERT_TRUE(start());
  source_->push(loudAudio(960 * 10 + 200));
  ASSERT_TRUE(recorder_->speechDetected());
  const auto streamedBeforeStop = chunks_.size();
  recorder_->stop();
  ASSERT_EQ(chunks_.size(), streamedBeforeStop + 1);
  EXPECT_EQ(chunks_.back().size(), 200u);
  for (std::size_t i = 0; i + 1 < chunks_.size(); ++i) EXPECT_EQ(chunks_[i].size(), 960u);
}

TEST_F(AudioRecorderTest, ZeroRemainderDeliversNothingMore) {
  ASSERT_TRUE(start());
  source_->push(loudAudio(960 * 10));
  const auto streamed = chunks_.size();
  recorder_->stop();
  EXPECT_EQ(chunks_.size(), streamed);
}

TEST_F(AudioRecorderTest, WavKeepsTheSilenceBeforeSpeechThatWasNotStreamed) {
  ASSERT_TRUE(start());
  source_->push(std::string(960 * 5, '\0'));
  const auto speech = loudAudio(960 * 10);
  source_->push(speech);
  const auto wav = recorder_->stop();
  EXPECT_EQ(wav.size(), 44u + 960 * 15);
  std::string streamed;
  for (const auto& chunk : chunks_) streamed += chunk;
  EXPECT_EQ(streamed, speech.substr(speech.size() - streamed.size()));
  EXPECT_LE(streamed.size(), speech.size());
}

TEST_F(AudioRecorderTest, CallbacksAreForgottenAtStop) {
  ASSERT_TRUE(start());
  recorder_->stop();
  source_->push(loudAudio(960 * 4));
  drainLevels();
  EXPECT_TRUE(chunks_.empty());
  EXPECT_TRUE(levels_.empty());
}

TEST_F(AudioRecorderTest, NewStartBeginsWaitingAgain) {
  ASSERT_TRUE(start());
  source_->push(loudAudio(960 * 4));
  recorder_->stop();
  ASSERT_TRUE(start());
  EXPECT_FALSE(recorder_->speechDetected());
  EXPECT_EQ(recorder_->stop().size(), 44u);
}

TEST_F(AudioRecorderTest, ChosenDeviceIsOpenedByUid) {
  device_ = AudioInputDevice{1, "usb-mic", "USB Mic", false, false};
  ASSERT_TRUE(start());
  EXPECT_EQ(source_->openedDevice, "usb-mic");
}

TEST_F(AudioRecorderTest, ARefusedDeviceFailsTheStartWithoutFallingBack) {
  device_ = AudioInputDevice{1, "usb-mic", "USB Mic", false, false};
  source_->refused = {"usb-mic"};
  testing::internal::CaptureStdout();
  EXPECT_FALSE(start());
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "AudioRecorder: failed to create input for USB Mic: device refused\n");
  EXPECT_EQ(source_->starts, 1);
  EXPECT_EQ(source_->openedDevice, "<never opened>");
  EXPECT_EQ(recorder_->stop().size(), 44u);
}

TEST_F(AudioRecorderTest, ADeviceGoneSinceItWasListedFallsBackToTheDefaultInput) {
  device_ = AudioInputDevice{1, "usb-mic", "USB Mic", false, false};
  source_->missing = {"usb-mic"};
  testing::internal::CaptureStdout();
  ASSERT_TRUE(start());
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(source_->openedDevice, "");
}

TEST_F(AudioRecorderTest, NoDeviceAndNoDefaultInputSaysSo) {
  source_->missing = {""};
  testing::internal::CaptureStdout();
  EXPECT_FALSE(start());
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "AudioRecorder: no audio capture device available\n");
}

TEST_F(AudioRecorderTest, FailedStartReturnsFalseAndStopStillGivesAHeader) {
  source_->refused = {""};
  testing::internal::CaptureStdout();
  EXPECT_FALSE(start());
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "AudioRecorder: session failed to start for default input\n");
  EXPECT_EQ(recorder_->stop().size(), 44u);
}

TEST(AudioRecorderWithoutSource, ReportsNoDevice) {
  AudioRecorder recorder(nullptr, [] { return std::nullopt; });
  testing::internal::CaptureStdout();
  EXPECT_FALSE(recorder.start({}, {}));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "AudioRecorder: no audio capture device available\n");
}

}  // namespace
}  // namespace pellum
