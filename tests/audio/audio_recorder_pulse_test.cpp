// The recorder on a real PulseAudio daemon whose virtual microphone plays
// recorded speech.
#include "audio/audio_recorder.h"

#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <algorithm>
#include <atomic>
#include <mutex>
#include <thread>

#include "audio/input_device_catalogue.h"
#include "audio/pulse_sources.h"
#include "audio/system_log.h"
#include "audio/wav.h"
#include "support/event_loop.h"
#include "support/pulse_server.h"

namespace pellum {
namespace {

const QString kSpeech = QStringLiteral(
    "/usr/share/pocketsphinx/test/data/librivox/sense_and_sensibility_01_austen_64kb-0880.wav");

class AudioRecorderPulseTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { pulse_ = new test::PulseServer(); }
  static void TearDownTestSuite() { delete pulse_; }
  void SetUp() override { ASSERT_TRUE(pulse_->isRunning()) << "pulseaudio did not start"; }

  struct Capture {
    std::mutex mutex;
    std::vector<std::string> chunks;
    std::vector<float> levels;
  };

  static test::PulseServer* pulse_;
};

test::PulseServer* AudioRecorderPulseTest::pulse_ = nullptr;

TEST_F(AudioRecorderPulseTest, MonitorSourcesAreNeverListed) {
  const auto sources = PulseSources::list();
  ASSERT_TRUE(sources);
  const auto monitor = std::find_if(sources->begin(), sources->end(),
                                    [](const CaptureSourceFacts& s) { return s.name == "vsink.monitor"; });
  ASSERT_NE(monitor, sources->end());
  EXPECT_TRUE(monitor->isMonitor);
  for (const auto& device : InputDeviceCatalogue::listInputDevices()) EXPECT_NE(device.uid, "vsink.monitor");
}

TEST_F(AudioRecorderPulseTest, VirtualSourcesAreListedAndMarked) {
  // The virtual microphone is a module's remapped source, as a
  // noise-suppression filter's is: listed, marked virtual, and chosen
  // when nothing else records.
  const auto devices = InputDeviceCatalogue::listInputDevices();
  const auto testmic =
      std::find_if(devices.begin(), devices.end(), [](const auto& d) { return d.uid == "testmic"; });
  ASSERT_NE(testmic, devices.end());
  EXPECT_TRUE(testmic->isVirtual);
  EXPECT_EQ(InputDeviceCatalogue::resolveInputDevice(std::nullopt)->uid, "testmic");
}

TEST_F(AudioRecorderPulseTest, RecordsSpeechFromTheAutomaticallyChosenSource) {
  AudioRecorder recorder(makePulseCaptureSource(),
                         [] { return InputDeviceCatalogue::resolveInputDevice(std::nullopt); });
  Capture capture;
  QElapsedTimer clock;
  ASSERT_TRUE(recorder.start(
      [&](const std::string& chunk) {
        std::lock_guard guard(capture.mutex);
        capture.chunks.push_back(chunk);
      },
      [&](float level) { capture.levels.push_back(level); }));
  clock.start();
  std::thread player([] { pulse_->play(kSpeech); });
  test::waitUntil([&] { return false; }, std::chrono::milliseconds(3600));
  player.join();
  const auto wav = recorder.stop();
  const qint64 elapsedMs = clock.elapsed();
  test::spin(std::chrono::milliseconds(50));

  EXPECT_TRUE(recorder.speechDetected());
  std::lock_guard guard(capture.mutex);
  ASSERT_GT(capture.chunks.size(), 20u);
  for (std::size_t i = 0; i + 1 < capture.chunks.size(); ++i) ASSERT_EQ(capture.chunks[i].size(), 960u) << i;
  EXPECT_LE(capture.chunks.back().size(), 960u);

  // The virtual microphone delivers audio only while something plays into
  // it, so the recording is as long as the speech played: 95680 bytes of PCM.
  // On a loaded machine the null sink runs on a little after the player
  // ends (up to ~150 ms measured with two builds running), never much more.
  const double recordedMs = static_cast<double>(wav.size() - 44) / 32.0;
  EXPECT_NEAR(recordedMs, 2990.0, 250.0);
  EXPECT_LE(recordedMs, static_cast<double>(elapsedMs));
  EXPECT_GE(capture.levels.size(), static_cast<std::size_t>(recordedMs / 30.0) - 1);
  EXPECT_GT(*std::max_element(capture.levels.begin(), capture.levels.end()), 0.2f);
}

TEST_F(AudioRecorderPulseTest, ADeviceUnpluggedSinceItWasListedFallsBackToTheDefaultSource) {
  AudioRecorder recorder(makePulseCaptureSource(), [] {
    return std::optional(AudioInputDevice{99, "alsa_input.unplugged", "Unplugged Mic", false, false});
  });
  testing::internal::CaptureStdout();
  ASSERT_TRUE(recorder.start({}, {}));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  QTemporaryDir dir;
  const QString tone = dir.filePath(QStringLiteral("tone.wav"));
  QFile file(tone);
  ASSERT_TRUE(file.open(QIODevice::WriteOnly));
  const std::string wav = wavData(std::string(9600, '\x10'), 16000);  // 0.3 s
  file.write(wav.data(), static_cast<qint64>(wav.size()));
  file.close();
  ASSERT_TRUE(pulse_->play(tone));
  EXPECT_GT(recorder.stop().size(), 44u + 4800u);
}

TEST_F(AudioRecorderPulseTest, StartAndStopRepeatedly) {
  AudioRecorder recorder(makePulseCaptureSource(), [] { return std::nullopt; });
  for (int i = 0; i < 5; ++i) {
    ASSERT_TRUE(recorder.start({}, {}));
    test::spin(std::chrono::milliseconds(60));
    EXPECT_GE(recorder.stop().size(), 44u);
  }
}

TEST(AudioRecorderWithoutSoundServer, StartFailsWithALogLine) {
  qputenv("PULSE_SERVER", "unix:/nonexistent/pellum-test-socket");
  AudioRecorder recorder(makePulseCaptureSource(), [] { return std::nullopt; });
  testing::internal::CaptureStdout();
  EXPECT_FALSE(recorder.start({}, {}));
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "AudioRecorder: session failed to start for default input\n");
  EXPECT_EQ(recorder.stop().size(), 44u);
  EXPECT_FALSE(PulseSources::serverReachable());
  qunsetenv("PULSE_SERVER");
}

}  // namespace
}  // namespace pellum

namespace pellum {
namespace {

TEST(InputDeviceCatalogueWarning, TheAutomaticChoiceWarnsAboutBluetoothEveryTimeItIsMade) {
  std::vector<std::string> warnings;
  const auto previous = setSystemLogWriter([&](const std::string& message) { warnings.push_back(message); });
  const std::vector<AudioInputDevice> headsetOnly{{4, "bluez_input.headset", "Headset", true, false}};
  EXPECT_EQ(InputDeviceCatalogue::automaticInputDevice(headsetOnly)->uid, "bluez_input.headset");
  EXPECT_EQ(InputDeviceCatalogue::automaticInputDevice(headsetOnly)->uid, "bluez_input.headset");
  setSystemLogWriter(previous);
  ASSERT_EQ(warnings.size(), 2u);
  EXPECT_EQ(
      warnings[0],
      "Pellum: only Bluetooth input available (Headset); recording will force HFP and degrade output audio "
      "quality");
  EXPECT_TRUE(InputDeviceCatalogue::automaticInputDevice({{5, "usb", "USB Mic", false, false}}));
}

}  // namespace
}  // namespace pellum
