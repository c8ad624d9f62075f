// A real pellum-server whose engines are pointed at a scripted fake of the
// remote provider APIs: the routes keep their contract whichever engine
// answers, and every provider failure reaches the client as an error.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <fstream>

#include "audio/wav.h"
#include "fake_speech_provider.h"
#include "recorded_speech.h"
#include "route_client.h"
#include "server_process.h"
#include "transcription/multipart_body.h"

namespace pellum::server::test {
namespace {

using Gladia = FakeSpeechProvider::GladiaScript;
using Reply = FakeSpeechProvider::TranscriptionReply;

constexpr const char* kCleanTarget =
    "/transcribe/stream?provider=gladia&mode=clean&language=en&sample_rate=16000";

std::string writeConfig(const TempDir& dir, const std::string& text) {
  const std::string path = dir.path() + "/engines.conf";
  std::ofstream(path) << text;
  ::chmod(path.c_str(), 0600);
  return path;
}

class ScriptedProviderRoutesTest : public ::testing::Test {
 protected:
  void start(const std::string& engines) {
    const std::string config = writeConfig(dir, engines + "\n[gladia]\nbase_url = " + fake.baseUrl() +
                                                    "\napi_key = gladia-test-key\nfinal_timeout_ms = 2000\n"
                                                    "[openai]\nbase_url = " +
                                                    fake.baseUrl() + "/v1\napi_key = sk-test\n");
    server = std::make_unique<ServerProcess>(std::vector<std::string>{"--config", config});
    ASSERT_TRUE(server->started()) << server->output();
    token = server->addDevice("Provider test");
  }

  std::vector<std::string> dictate(std::chrono::milliseconds length) {
    LiveClient client;
    EXPECT_EQ(client.connect(server->transcribePort(), kCleanTarget, token), 101);
    const std::string pcm(static_cast<std::size_t>(length.count()) * 32, '\0');
    for (const auto& chunk : pcmChunks(pcm)) client.sendBinary(chunk);
    client.sendText(R"({"type":"stop"})");
    return client.readAll();
  }

  FakeSpeechProvider fake;
  TempDir dir;
  std::unique_ptr<ServerProcess> server;
  std::string token;
};

TEST_F(ScriptedProviderRoutesTest, GladiaAnswersTheLiveRouteWithRawChunksDone) {
  Gladia script;
  script.utterances = {"um hello there", "how are you"};
  fake.setGladia(script);
  start("[engines]\nlive = gladia");
  const auto messages = dictate(std::chrono::milliseconds(600));
  ASSERT_GE(messages.size(), 3u);
  EXPECT_EQ(messageType(messages.front()), "raw");
  EXPECT_EQ(messageText(messages.front()), "um hello there how are you");
  std::string cleaned;
  for (const auto& message : messages) {
    if (messageType(message) == "chunk") cleaned += messageText(message);
  }
  EXPECT_EQ(cleaned, "Hello there how are you.");
  EXPECT_EQ(messageType(messages.back()), "done");
  EXPECT_EQ(fake.gladiaAudioBytes(), 19200u);
  const std::string log = server->output();
  EXPECT_NE(log.find("pellum-server: engines live=gladia upload=pocketsphinx cleanup=builtin"),
            std::string::npos);
  EXPECT_NE(log.find(" done"), std::string::npos) << log;
  EXPECT_EQ(log.find("gladia-test-key"), std::string::npos);
}

TEST_F(ScriptedProviderRoutesTest, GladiaFailingMidStreamIsTheLiveRoutesError) {
  Gladia script;
  script.utterances = {"lost"};
  script.ending = Gladia::Ending::closeWithCode;
  script.closeCode = 4002;
  script.faultAfterBytes = 3200;
  fake.setGladia(script);
  start("[engines]\nlive = gladia");
  const auto messages = dictate(std::chrono::milliseconds(2000));
  ASSERT_FALSE(messages.empty());
  EXPECT_EQ(messageType(messages.back()), "error");
  EXPECT_EQ(messageText(messages.back()), "Gladia closed the session (code 4002: scripted close)");
}

TEST_F(ScriptedProviderRoutesTest, GladiaRefusingTheStartIsTheLiveRoutesError) {
  Gladia script;
  script.initStatus = 429;
  script.initError = "Too many concurrent sessions";
  fake.setGladia(script);
  start("[engines]\nlive = gladia");
  const auto messages = dictate(std::chrono::milliseconds(100));
  ASSERT_FALSE(messages.empty());
  EXPECT_EQ(messageText(messages.back()),
            "cannot start a Gladia session: HTTP 429: Too many concurrent sessions");
}

TEST_F(ScriptedProviderRoutesTest, OpenAiAnswersTheUploadRoute) {
  fake.setTranscriptionReplies({Reply::ok("Transcribed by the service.")});
  start("[engines]\nupload = openai");
  const std::string wav = wavData(std::string(32000, '\0'), 16000);
  const auto reply =
      httpRequest(server->transcribePort(), "POST", "/transcribe",
                  {{"Content-Type", multipartContentType("B")}, {"Authorization", "Bearer " + token}},
                  buildMultipartBody("B", TranscriptionMode::raw, "en", "audio/wav", wav));
  ASSERT_EQ(reply.status, 200) << reply.body;
  EXPECT_EQ(reply.body, "event: raw\ndata: \"Transcribed by the service.\"\n\nevent: done\ndata: {}\n\n");
  EXPECT_EQ(fake.transcriptionRequests().size(), 1u);
}

TEST_F(ScriptedProviderRoutesTest, AMistakeInTheEnginesFileStopsTheStart) {
  const std::string config = writeConfig(dir, "[openai]\nmodle = whisper\n");
  const auto result = runServerCommand({"--config", config, "--transcribe-listen", "127.0.0.1:0",
                                        "--web-listen", "127.0.0.1:0", "--data-dir", dir.path() + "/data"});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.err, "pellum-server: " + config + ": unknown key \"modle\" in [openai]\n");
}

TEST_F(ScriptedProviderRoutesTest, EnginesCommandChecksEachEngineInUse) {
  const std::string good =
      writeConfig(dir, "[engines]\nlive = gladia\nupload = openai\n[gladia]\nbase_url = " + fake.baseUrl() +
                           "\napi_key = gladia-test-key\n[openai]\nbase_url = " + fake.baseUrl() +
                           "/v1\napi_key = sk-test\n");
  auto result = runServerCommand({"engines", "--config", good});
  EXPECT_EQ(result.status, 0) << result.out << result.err;
  EXPECT_NE(result.out.find("live: gladia at " + fake.baseUrl() + ", key from api_key in [gladia]\n"),
            std::string::npos)
      << result.out;
  EXPECT_NE(result.out.find("check gladia: ok"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("check openai: ok"), std::string::npos) << result.out;
  EXPECT_EQ(result.out.find("sk-test"), std::string::npos);
  EXPECT_EQ(result.out.find("gladia-test-key"), std::string::npos);

  Gladia wrongKey;
  wrongKey.apiKey = "the right key";
  fake.setGladia(wrongKey);
  result = runServerCommand({"engines", "--config", good});
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.out.find("check gladia: failed: cannot start a Gladia session: HTTP 401"),
            std::string::npos)
      << result.out;
}

}  // namespace
}  // namespace pellum::server::test
