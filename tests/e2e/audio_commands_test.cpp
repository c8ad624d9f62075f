// `pellum devices` and `pellum record` as users run them, against a private
// PulseAudio daemon with a virtual microphone.
#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <thread>

#include "support/pulse_server.h"

namespace pellum {
namespace {

const QString kSpeech = QStringLiteral(
    "/usr/share/pocketsphinx/test/data/librivox/sense_and_sensibility_01_austen_64kb-0880.wav");

struct CommandRun {
  int status = -1;
  QByteArray out;
  QByteArray err;
};

CommandRun runPellum(const QStringList& arguments, const QString& pulseServer, const QString& configHome) {
  QProcess process;
  auto environment = QProcessEnvironment::systemEnvironment();
  environment.insert(QStringLiteral("PULSE_SERVER"), pulseServer);
  environment.insert(QStringLiteral("XDG_CONFIG_HOME"), configHome);
  process.setProcessEnvironment(environment);
  process.start(QStringLiteral(PELLUM_BINARY), arguments);
  process.waitForFinished(30000);
  return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
          process.readAllStandardOutput(), process.readAllStandardError()};
}

class AudioCommandsTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(pulse_.isRunning()); }
  test::PulseServer pulse_;
  QTemporaryDir home_;
};

TEST_F(AudioCommandsTest, DevicesListsAVirtualMicrophoneMarkedAsSuch) {
  // The test daemon's only microphone is a module's remapped source, as a
  // noise-suppression filter's is; the monitor it comes from is hidden.
  const CommandRun run = runPellum({QStringLiteral("devices")}, pulse_.serverAddress(), home_.path());
  EXPECT_EQ(run.status, 0) << run.err.toStdString();
  EXPECT_EQ(run.out, "* Remapped Monitor of Null Output  (testmic)  virtual  [automatic choice]\n")
      << run.out.toStdString();
}

TEST_F(AudioCommandsTest, DevicesMentionsAStoredChoiceThatIsNotConnected) {
  QDir().mkpath(home_.filePath(QStringLiteral("pellum")));
  QFile config(home_.filePath(QStringLiteral("pellum/pellum.conf")));
  ASSERT_TRUE(config.open(QIODevice::WriteOnly));
  config.write("[General]\naudioInputDeviceUID=alsa_input.usb-gone\n");
  config.close();
  const CommandRun run = runPellum({QStringLiteral("devices")}, pulse_.serverAddress(), home_.path());
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(
      run.out.contains("Stored choice alsa_input.usb-gone is not connected; the automatic choice is used."))
      << run.out.toStdString();
}

TEST_F(AudioCommandsTest, RecordWritesWhatTheMicrophoneHeard) {
  const QString out = home_.filePath(QStringLiteral("heard.wav"));
  std::thread player([&] { pulse_.play(kSpeech); });
  const CommandRun run =
      runPellum({QStringLiteral("record"), QStringLiteral("6"), out}, pulse_.serverAddress(), home_.path());
  player.join();
  EXPECT_EQ(run.status, 0) << run.err.toStdString();
  EXPECT_TRUE(run.out.contains("from Remapped Monitor of Null Output to")) << run.out.toStdString();
  EXPECT_TRUE(run.out.contains("speech detected")) << run.out.toStdString();
  EXPECT_FALSE(run.out.contains("no speech detected")) << run.out.toStdString();
  QFile file(out);
  ASSERT_TRUE(file.open(QIODevice::ReadOnly));
  EXPECT_GT(file.size(), 44 + 32000);
  EXPECT_TRUE(file.read(4) == "RIFF");
}

TEST_F(AudioCommandsTest, RecordRefusesBadArguments) {
  EXPECT_EQ(runPellum({QStringLiteral("record"), QStringLiteral("soon"), QStringLiteral("x.wav")},
                      pulse_.serverAddress(), home_.path())
                .status,
            2);
  EXPECT_EQ(
      runPellum({QStringLiteral("record"), QStringLiteral("2")}, pulse_.serverAddress(), home_.path()).status,
      2);
}

TEST(AudioCommandsWithoutSoundServer, DevicesSaysSo) {
  QTemporaryDir home;
  const CommandRun run =
      runPellum({QStringLiteral("devices")}, QStringLiteral("unix:/nonexistent/socket"), home.path());
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err, "pellum devices: no sound server is reachable (PulseAudio or PipeWire)\n");
}

}  // namespace
}  // namespace pellum
