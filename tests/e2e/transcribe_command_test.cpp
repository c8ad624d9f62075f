// `pellum transcribe` run as users run it, as a separate process, against
// scripted peers on loopback that answer both routes on one port. The peers
// script replies by hand, including failures a real server would not send.
#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <cstring>
#include <variant>

#include "audio/wav.h"
#include "support/event_loop.h"
#include "support/scripted_http_peer.h"
#include "support/scripted_live_peer.h"

namespace pellum {
namespace {

using namespace std::chrono_literals;
using test::ScriptedHttpPeer;
using test::ScriptedLivePeer;
using test::waitUntil;

class TranscribeCommandTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(home_.isValid());
    http_.setUpgradeHandler([this](QTcpSocket* socket) { live_.adopt(socket); });
    // Recorded speech, led by 300 ms of silence that must not be streamed.
    QFile speech(QStringLiteral(
        "/usr/share/pocketsphinx/test/data/librivox/sense_and_sensibility_01_austen_64kb-0880.wav"));
    ASSERT_TRUE(speech.open(QIODevice::ReadOnly));
    const QByteArray bytes = speech.readAll();
    const auto parsed = parseWav(std::string_view(bytes.constData(), static_cast<std::size_t>(bytes.size())));
    ASSERT_TRUE(std::holds_alternative<WavInfo>(parsed));
    pcm_ = std::string(9600, '\0') + std::string(std::get<WavInfo>(parsed).data);
    wavPath_ = writeFile("speech.wav", wavData(pcm_, 16000));
  }

  QString writeFile(const QString& name, const std::string& bytes) {
    const QString path = home_.filePath(name);
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(bytes.data(), static_cast<qint64>(bytes.size()));
    return path;
  }

  void start(QStringList arguments, bool withToken = true) {
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("PELLUM_TRANSCRIBE_URL"), http_.httpBase());
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), home_.filePath(QStringLiteral("config")));
    environment.remove(QStringLiteral("DISPLAY"));
    if (withToken) {
      environment.insert(QStringLiteral("PELLUM_TOKEN"), QStringLiteral("tok-e2e"));
    } else {
      environment.remove(QStringLiteral("PELLUM_TOKEN"));
    }
    process_.setProcessEnvironment(environment);
    arguments.prepend(QStringLiteral("transcribe"));
    process_.start(QStringLiteral(PELLUM_BINARY), arguments);
    ASSERT_TRUE(process_.waitForStarted());
  }

  // Spins the event loop (the peers live on it) until the program exits.
  int finish() {
    EXPECT_TRUE(waitUntil([&] { return process_.state() == QProcess::NotRunning; }, 20s));
    stdout_ = process_.readAllStandardOutput();
    stderr_ = process_.readAllStandardError();
    return process_.exitStatus() == QProcess::NormalExit ? process_.exitCode() : -1;
  }

  void answerStopWith(std::initializer_list<QByteArray> messages) {
    ASSERT_TRUE(waitUntil([&] { return live_.stopCount() == 1; }, 10s));
    for (const auto& message : messages) live_.sendText(message);
  }

  QTemporaryDir home_;
  ScriptedHttpPeer http_;
  ScriptedLivePeer live_;
  QProcess process_;
  std::string pcm_;
  QString wavPath_;
  QByteArray stdout_;
  QByteArray stderr_;
};

TEST_F(TranscribeCommandTest, LiveRouteStreamsTheFileAndPrintsTheText) {
  start({wavPath_, QStringLiteral("--language"), QStringLiteral("fr,de"), QStringLiteral("--mode"),
         QStringLiteral("raw")});
  answerStopWith({R"({"type":"raw","text":"bonjour tout le monde"})", R"({"type":"done"})"});
  EXPECT_EQ(finish(), 0) << stderr_.toStdString();
  EXPECT_EQ(stdout_, "bonjour tout le monde\n");
  EXPECT_EQ(live_.request().url().query(),
            QStringLiteral("provider=gladia&mode=raw&language=fr,de&sample_rate=16000"));
  EXPECT_EQ(live_.request().rawHeader("Authorization"), "Bearer tok-e2e");
  // Whole chunks from the first confirmed word to the end, then the
  // remainder; the leading silence stays behind.
  const int messages = live_.binaryCount();
  ASSERT_GT(messages, 50);
  std::string streamed;
  for (int i = 0; i < messages; ++i) {
    EXPECT_EQ(live_.received()[i].payload.size(),
              i + 1 < messages ? 960 : static_cast<int>(pcm_.size() % 960));
    streamed += live_.received()[i].payload.toStdString();
  }
  EXPECT_LE(streamed.size(), pcm_.size() - 9600);
  EXPECT_EQ(streamed, pcm_.substr(pcm_.size() - streamed.size()));
  EXPECT_FALSE(live_.received().last().binary);  // the stop message comes last
  EXPECT_FALSE(http_.requestComplete());
}

TEST_F(TranscribeCommandTest, SilentFileStreamsNothingButStop) {
  start({writeFile("silence.wav", wavData(std::string(32000, '\0'), 16000))});
  answerStopWith({R"({"type":"error","error":"no speech detected"})"});
  EXPECT_EQ(finish(), 1);
  EXPECT_EQ(live_.binaryCount(), 0);
  EXPECT_EQ(stderr_, "No speech detected\n");
}

TEST_F(TranscribeCommandTest, RealtimePacesChunksAtSpeakingSpeed) {
  QElapsedTimer clock;
  clock.start();
  start({wavPath_, QStringLiteral("--realtime")});
  ASSERT_TRUE(waitUntil([&] { return live_.stopCount() == 1; }, 20s));
  // One chunk every 30 ms: the stop cannot come before the file's duration.
  EXPECT_GE(clock.elapsed(), static_cast<qint64>(pcm_.size() / 32) - 100);
  live_.sendText(R"({"type":"done"})");
  EXPECT_EQ(finish(), 0);
}

TEST_F(TranscribeCommandTest, ProviderFailureFallsBackToOneUpload) {
  http_.setReply({{ScriptedHttpPeer::eventStreamHead() +
                       "event: raw\ndata: \"hello\"\nevent: chunk\ndata: \"Hello.\"\nevent: done\ndata: {}\n",
                   0, true}});
  start({wavPath_, QStringLiteral("--language"), QStringLiteral("en")});
  answerStopWith({R"({"type":"error","error":"provider down"})"});
  EXPECT_EQ(finish(), 0) << stderr_.toStdString();
  EXPECT_EQ(stdout_, "Hello.\n");
  EXPECT_TRUE(stderr_.contains("Gladia failed (provider down) \xE2\x80\x94 falling back to Groq\n"));
  ASSERT_TRUE(http_.requestComplete());
  EXPECT_EQ(http_.path(), "/transcribe");
  EXPECT_TRUE(http_.body().contains(QByteArray::fromStdString(wavData(pcm_, 16000))));
  EXPECT_TRUE(http_.body().contains("name=\"language\"\r\n\r\nen\r\n"));
}

TEST_F(TranscribeCommandTest, FailedFallbackSaysSo) {
  http_.setReply(
      {{ScriptedHttpPeer::eventStreamHead(500) + "event: error\ndata: engine crashed\n", 0, true}});
  start({wavPath_});
  answerStopWith({R"({"type":"error","error":"provider down"})"});
  EXPECT_EQ(finish(), 1);
  EXPECT_TRUE(stderr_.contains("Groq fallback failed: Server error: engine crashed\n"))
      << stderr_.toStdString();
  EXPECT_TRUE(stdout_.isEmpty());
}

TEST_F(TranscribeCommandTest, BatchUploadsOnly) {
  http_.setReply(
      {{ScriptedHttpPeer::eventStreamHead() + "event: raw\ndata: \"batch text\"\nevent: done\ndata: {}\n", 0,
        true}});
  start({wavPath_, QStringLiteral("--batch"), QStringLiteral("--mode"), QStringLiteral("raw")});
  EXPECT_EQ(finish(), 0) << stderr_.toStdString();
  EXPECT_EQ(stdout_, "batch text\n");
  EXPECT_FALSE(live_.hasClient());
  EXPECT_TRUE(http_.body().contains("name=\"mode\"\r\n\r\nraw\r\n"));
}

TEST_F(TranscribeCommandTest, UploadReplyWithoutResultIsAnError) {
  http_.setReply({{ScriptedHttpPeer::eventStreamHead() + "event: raw\ndata: \"cut\"\n", 0, true}});
  start({wavPath_, QStringLiteral("--batch")});
  EXPECT_EQ(finish(), 1);
  EXPECT_TRUE(stderr_.contains("the reply ended without a transcript")) << stderr_.toStdString();
}

TEST_F(TranscribeCommandTest, NoSpeechIsAFailure) {
  start({wavPath_});
  answerStopWith({R"({"type":"error","error":"no speech detected"})"});
  EXPECT_EQ(finish(), 1);
  EXPECT_EQ(stderr_, "No speech detected\n");
  EXPECT_FALSE(http_.requestComplete());
}

TEST_F(TranscribeCommandTest, WithoutTokenAsksToSignIn) {
  start({wavPath_}, /*withToken=*/false);
  EXPECT_EQ(finish(), 1);
  EXPECT_EQ(stderr_, "Sign in from the Pellum menu before transcribing.\n");
}

TEST_F(TranscribeCommandTest, NonWavFileIsRefusedByName) {
  const QString path = writeFile("notes.txt", "just some text, not audio");
  start({path});
  EXPECT_EQ(finish(), 2);
  EXPECT_TRUE(stderr_.contains("notes.txt: not a RIFF/WAVE file")) << stderr_.toStdString();
}

TEST_F(TranscribeCommandTest, WrongWavFormatSaysWhatWasFound) {
  std::string wav = wavData(std::string(400, '\0'), 44100);
  const std::uint16_t channels = 2;
  std::memcpy(wav.data() + 22, &channels, 2);
  start({writeFile("stereo.wav", wav)});
  EXPECT_EQ(finish(), 2);
  EXPECT_TRUE(
      stderr_.contains("expected 16000 Hz, 1 channel, 16-bit PCM; found 44100 Hz, 2 channels, 16-bit PCM"))
      << stderr_.toStdString();
}

TEST_F(TranscribeCommandTest, UnknownOptionIsRefused) {
  start({wavPath_, QStringLiteral("--loud")});
  EXPECT_EQ(finish(), 2);
  EXPECT_TRUE(stderr_.contains("Unknown option 'loud'")) << stderr_.toStdString();
}

TEST_F(TranscribeCommandTest, BadModeIsRefused) {
  start({wavPath_, QStringLiteral("--mode"), QStringLiteral("fancy")});
  EXPECT_EQ(finish(), 2);
  EXPECT_TRUE(stderr_.contains("--mode must be raw or clean")) << stderr_.toStdString();
}

TEST_F(TranscribeCommandTest, MissingFileIsRefused) {
  start({home_.filePath(QStringLiteral("absent.wav"))});
  EXPECT_EQ(finish(), 2);
  EXPECT_TRUE(stderr_.contains("cannot read")) << stderr_.toStdString();
}

}  // namespace
}  // namespace pellum
