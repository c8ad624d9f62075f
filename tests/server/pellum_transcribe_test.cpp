// The desktop's transcription path, `pellum transcribe`, against a real
// pellum-server on loopback with recorded speech.
#include <gtest/gtest.h>

#include "recorded_speech.h"
#include "server_process.h"

namespace pellum::server::test {
namespace {

class ServerPellumTranscribeTest : public ::testing::Test {
 protected:
  void start(std::vector<std::string> args = {}) {
    server = std::make_unique<ServerProcess>(std::move(args));
    ASSERT_TRUE(server->started()) << server->output();
    token = server->addDevice("pellum transcribe");
    ASSERT_FALSE(token.empty());
  }

  CommandResult transcribe(std::vector<std::string> options) {
    std::vector<std::string> args{"transcribe", speech.wavPath, "--language", "en"};
    args.insert(args.end(), options.begin(), options.end());
    return runProgram(PELLUM_BINARY, args,
                      {"PELLUM_TOKEN=" + token,
                       "PELLUM_TRANSCRIBE_URL=http://127.0.0.1:" + std::to_string(server->transcribePort()),
                       "XDG_CONFIG_HOME=" + config.path(), "QT_QPA_PLATFORM=offscreen"});
  }

  TempDir config;
  std::unique_ptr<ServerProcess> server;
  std::string token;
  // The live route normalises as it goes, so on a fresh server's first
  // stream a short, clear recording is the fair test.
  Utterance speech = recordedSpeech().at(4);
};

TEST_F(ServerPellumTranscribeTest, LiveStreamReturnsTheText) {
  start();
  const auto result = transcribe({"--mode", "clean"});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_GE(wordRecall(result.out, speech.reference), 0.6) << result.out;
  EXPECT_NE(server->output().find("pellum-server: live device=1 mode=clean"), std::string::npos);
  EXPECT_EQ(server->output().find("POST /transcribe"), std::string::npos);
}

TEST_F(ServerPellumTranscribeTest, BatchUploadReturnsTheText) {
  start();
  const auto result = transcribe({"--batch", "--mode", "raw"});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_GE(wordRecall(result.out, speech.reference), 0.6) << result.out;
  EXPECT_NE(server->output().find("pellum-server: POST /transcribe 200"), std::string::npos);
}

// A live session over the server's audio limit fails with an error message,
// which the client answers with one upload of the whole recording.
TEST_F(ServerPellumTranscribeTest, FailedLiveStreamFallsBackToTheUpload) {
  start({"--max-session-audio", "1"});
  const auto result = transcribe({"--mode", "clean"});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_GE(wordRecall(result.out, speech.reference), 0.6) << result.out;
  const std::string log = server->output();
  EXPECT_NE(log.find("error: session over 1 seconds of audio"), std::string::npos) << log;
  EXPECT_NE(log.find("pellum-server: POST /transcribe 200"), std::string::npos) << log;
}

TEST_F(ServerPellumTranscribeTest, RevokedDeviceIsRefused) {
  start();
  ASSERT_TRUE(server->revokeDevice("1"));
  const auto result = transcribe({"--batch"});
  EXPECT_NE(result.status, 0);
  EXPECT_TRUE(result.out.empty()) << result.out;
}

}  // namespace
}  // namespace pellum::server::test
