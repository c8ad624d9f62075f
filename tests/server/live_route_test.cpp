// GET /transcribe/stream (WebSocket) on a real server over loopback.
#include <gtest/gtest.h>

#include <thread>

#include "audio/wav.h"
#include "recorded_speech.h"
#include "route_client.h"
#include "server_process.h"
#include "transcription/live_transcript.h"

namespace pellum::server::test {
namespace {

constexpr const char* kCleanTarget =
    "/transcribe/stream?provider=gladia&mode=clean&language=en&sample_rate=16000";
constexpr const char* kRawTarget =
    "/transcribe/stream?provider=gladia&mode=raw&language=en&sample_rate=16000";

std::string pcmOf(const Utterance& utterance) {
  static std::map<std::string, std::string> files;
  auto& file = files[utterance.wavPath];
  if (file.empty()) file = readFile(utterance.wavPath);
  return std::string(std::get<WavInfo>(parseWav(file)).data);
}

class ServerLiveRouteTest : public ::testing::Test {
 protected:
  void start(std::vector<std::string> args = {}) {
    server = std::make_unique<ServerProcess>(std::move(args));
    ASSERT_TRUE(server->started()) << server->output();
    token = server->addDevice("Live test");
    ASSERT_FALSE(token.empty());
  }
  void SetUp() override { start(); }

  // Streams the whole utterance then stops; returns every message until close.
  std::vector<std::string> dictate(const std::string& target, const std::string& pcm) {
    LiveClient client;
    EXPECT_EQ(client.connect(server->transcribePort(), target, token), 101);
    for (const auto& chunk : pcmChunks(pcm)) client.sendBinary(chunk);
    client.sendText(R"({"type":"stop"})");
    return client.readAll();
  }

  // The desktop client's reading of a session's messages.
  static std::optional<StreamingResult> clientResult(const std::vector<std::string>& messages,
                                                     TranscriptionMode mode, bool translating) {
    LiveTranscript transcript(mode, translating);
    for (const auto& message : messages) {
      auto effect = transcript.handle(message);
      if (effect.result) return effect.result;
    }
    return std::nullopt;
  }

  static std::vector<std::string> types(const std::vector<std::string>& messages) {
    std::vector<std::string> out;
    for (const auto& message : messages) out.push_back(messageType(message));
    return out;
  }

  std::unique_ptr<ServerProcess> server;
  std::string token;
  Utterance speech = recordedSpeech().at(1);
};

TEST_F(ServerLiveRouteTest, CleanSessionSendsRawChunksDoneThenCloses) {
  const auto messages = dictate(kCleanTarget, pcmOf(speech));
  const auto kinds = types(messages);
  ASSERT_GE(kinds.size(), 3u);
  EXPECT_EQ(kinds.back(), "done");
  const auto firstChunk = std::find(kinds.begin(), kinds.end(), "chunk");
  ASSERT_NE(firstChunk, kinds.end());
  EXPECT_EQ(*(firstChunk - 1), "raw");  // the final raw comes right before the pieces
  EXPECT_TRUE(std::all_of(kinds.begin(), firstChunk, [](const auto& kind) { return kind == "raw"; }));
  EXPECT_TRUE(std::all_of(firstChunk, kinds.end() - 1, [](const auto& kind) { return kind == "chunk"; }));
  const auto result = clientResult(messages, TranscriptionMode::clean, false);
  ASSERT_TRUE(result && result->ok());
  EXPECT_GE(wordRecall(result->text(), speech.reference), 0.6) << result->text();
  EXPECT_EQ(result->text().back(), '.');
}

TEST_F(ServerLiveRouteTest, RawSessionSendsFinalRawThenDone) {
  const auto messages = dictate(kRawTarget, pcmOf(speech));
  const auto kinds = types(messages);
  ASSERT_GE(kinds.size(), 2u);
  EXPECT_EQ(kinds.back(), "done");
  EXPECT_EQ(std::count(kinds.begin(), kinds.end(), "chunk"), 0);
  const auto result = clientResult(messages, TranscriptionMode::raw, false);
  ASSERT_TRUE(result && result->ok());
  EXPECT_EQ(result->text(), messageText(messages[messages.size() - 2]));
  EXPECT_GE(wordRecall(result->text(), speech.reference), 0.6) << result->text();
}

TEST_F(ServerLiveRouteTest, PartialTranscriptArrivesWhileSpeaking) {
  LiveClient client;
  ASSERT_EQ(client.connect(server->transcribePort(), kRawTarget, token), 101);
  const auto chunks = pcmChunks(pcmOf(speech));
  for (std::size_t i = 0; i < chunks.size() * 3 / 4; ++i) client.sendBinary(chunks[i]);
  const auto partial = client.read();  // nothing was stopped: only a partial can come
  ASSERT_TRUE(partial.has_value());
  EXPECT_EQ(messageType(*partial), "raw");
  EXPECT_FALSE(messageText(*partial).empty());
  for (std::size_t i = chunks.size() * 3 / 4; i < chunks.size(); ++i) client.sendBinary(chunks[i]);
  client.sendText(R"({"type":"stop"})");
  const auto rest = client.readAll();
  ASSERT_FALSE(rest.empty());
  EXPECT_EQ(messageType(rest.back()), "done");
}

TEST_F(ServerLiveRouteTest, AudioAt44100HzIsResampled) {
  // Upsampled from 16 kHz by linear interpolation in the test itself.
  const auto samples = pcmOf(speech);
  std::string upsampled;
  const std::size_t count = samples.size() / 2;
  auto sampleAt = [&](std::size_t i) {
    return static_cast<std::int16_t>(static_cast<std::uint8_t>(samples[2 * i]) |
                                     (static_cast<std::uint8_t>(samples[2 * i + 1]) << 8));
  };
  for (std::size_t k = 0;; ++k) {
    const double position = static_cast<double>(k) * 16000.0 / 44100.0;
    const auto i = static_cast<std::size_t>(position);
    if (i + 1 >= count) break;
    const double value = sampleAt(i) + (sampleAt(i + 1) - sampleAt(i)) * (position - static_cast<double>(i));
    const auto sample = static_cast<std::uint16_t>(static_cast<std::int16_t>(value));
    upsampled.push_back(static_cast<char>(sample & 0xFF));
    upsampled.push_back(static_cast<char>(sample >> 8));
  }
  const auto messages =
      dictate("/transcribe/stream?provider=gladia&mode=clean&language=en&sample_rate=44100", upsampled);
  const auto result = clientResult(messages, TranscriptionMode::clean, false);
  ASSERT_TRUE(result && result->ok());
  EXPECT_GE(wordRecall(result->text(), speech.reference), 0.6) << result->text();
}

TEST_F(ServerLiveRouteTest, TranslationToSpanishArrivesAsChunks) {
  const auto messages = dictate(kCleanTarget + std::string("&translate_to=es"), pcmOf(speech));
  const auto result = clientResult(messages, TranscriptionMode::clean, true);
  ASSERT_TRUE(result && result->ok()) << (messages.empty() ? "" : messages.back());
  EXPECT_NE(result->text().find("joven"), std::string::npos) << result->text();
}

TEST_F(ServerLiveRouteTest, MissingTranslationPairIsNamed) {
  const auto messages = dictate(kCleanTarget + std::string("&translate_to=ja"), "");
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(
      messages[0],
      R"j({"type":"error","error":"no translation pair for English (en) to Japanese (ja) is installed"})j");
}

TEST_F(ServerLiveRouteTest, UnsupportedLanguageIsNamedAndAListFallsBackToEnglish) {
  const auto refused =
      dictate("/transcribe/stream?provider=gladia&mode=raw&language=de&sample_rate=16000", "");
  ASSERT_EQ(refused.size(), 1u);
  EXPECT_EQ(refused[0], R"j({"type":"error","error":"no speech model for German (de)"})j");
  const auto messages =
      dictate("/transcribe/stream?provider=gladia&mode=raw&language=de,en&sample_rate=16000", pcmOf(speech));
  const auto result = clientResult(messages, TranscriptionMode::raw, false);
  ASSERT_TRUE(result && result->ok());
}

TEST_F(ServerLiveRouteTest, BadSampleRateIsAnError) {
  const auto messages =
      dictate("/transcribe/stream?provider=gladia&mode=raw&language=en&sample_rate=fast", "");
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messageType(messages[0]), "error");
  EXPECT_NE(messageText(messages[0]).find("sample_rate"), std::string::npos);
}

TEST_F(ServerLiveRouteTest, StopWithoutSpeechIsNoSpeechDetected) {
  const auto silent = dictate(kCleanTarget, std::string(16000, '\0'));
  ASSERT_FALSE(silent.empty());
  EXPECT_EQ(silent.back(), R"j({"type":"error","error":"no speech detected"})j");
  const auto nothing = dictate(kCleanTarget, "");
  ASSERT_EQ(nothing.size(), 1u);
  EXPECT_EQ(nothing[0], R"j({"type":"error","error":"no speech detected"})j");
}

TEST_F(ServerLiveRouteTest, MissingUnknownAndRevokedTokensGet401BeforeTheUpgrade) {
  LiveClient none;
  EXPECT_EQ(none.connect(server->transcribePort(), kCleanTarget, ""), 401);
  LiveClient unknown;
  EXPECT_EQ(unknown.connect(server->transcribePort(), kCleanTarget, "bogus-token"), 401);
  const std::string revoked = server->addDevice("Revoked");
  ASSERT_TRUE(server->revokeDevice("2"));
  LiveClient gone;
  EXPECT_EQ(gone.connect(server->transcribePort(), kCleanTarget, revoked), 401);
  LiveClient still;
  EXPECT_EQ(still.connect(server->transcribePort(), kCleanTarget, token), 101);
}

TEST_F(ServerLiveRouteTest, NonJsonTextEndsTheSessionWithAnError) {
  LiveClient client;
  ASSERT_EQ(client.connect(server->transcribePort(), kCleanTarget, token), 101);
  client.sendText(R"({"type":"hello"})");  // unknown JSON is ignored
  client.sendText(R"(["stop"])");          // and so is JSON that is not an object
  client.sendText("42");
  client.sendText("stop please");
  const auto messages = client.readAll();
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages[0], R"j({"type":"error","error":"text message is not JSON"})j");
  EXPECT_EQ(client.closeCode(), 1000);
}

TEST_F(ServerLiveRouteTest, JsonThatIsNotAnObjectIsIgnored) {
  LiveClient client;
  ASSERT_EQ(client.connect(server->transcribePort(), kRawTarget, token), 101);
  for (const char* text : {R"(["stop"])", R"("stop")", "42", "null"}) client.sendText(text);
  for (const auto& chunk : pcmChunks(pcmOf(speech))) client.sendBinary(chunk);
  client.sendText(R"({"type":"stop"})");
  const auto messages = client.readAll();
  ASSERT_FALSE(messages.empty());
  EXPECT_EQ(messages.back(), R"({"type":"done"})");
}

TEST_F(ServerLiveRouteTest, MessageOver64KiBEndsTheSessionWithAnError) {
  LiveClient client;
  ASSERT_EQ(client.connect(server->transcribePort(), kCleanTarget, token), 101);
  client.sendBinary(std::string(64 * 1024, '\0'));  // exactly the limit is fine
  client.sendBinary(std::string(64 * 1024 + 1, '\0'));
  const auto messages = client.readAll();
  ASSERT_FALSE(messages.empty());
  EXPECT_EQ(messages.back(), R"j({"type":"error","error":"message over 64 KiB"})j");
}

TEST_F(ServerLiveRouteTest, IdleSessionEndsWithAnError) {
  start({"--idle-timeout", "1"});
  LiveClient client;
  ASSERT_EQ(client.connect(server->transcribePort(), kCleanTarget, token), 101);
  const auto messages = client.readAll();
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages[0], R"j({"type":"error","error":"no message for 1 seconds"})j");
}

TEST_F(ServerLiveRouteTest, SessionOverTheAudioLimitEndsWithAnError) {
  start({"--max-session-audio", "1"});
  LiveClient client;
  ASSERT_EQ(client.connect(server->transcribePort(), kRawTarget, token), 101);
  for (const auto& chunk : pcmChunks(pcmOf(speech))) {
    if (!client.sendBinary(chunk)) break;
  }
  const auto messages = client.readAll();
  ASSERT_FALSE(messages.empty());
  EXPECT_EQ(messages.back(), R"j({"type":"error","error":"session over 1 seconds of audio"})j");
}

TEST_F(ServerLiveRouteTest, ExhaustedDecodersAnswerServerBusy) {
  start({"--decoders", "1", "--decoder-wait-ms", "300"});
  LiveClient first;
  ASSERT_EQ(first.connect(server->transcribePort(), kRawTarget, token), 101);
  LiveClient second;
  ASSERT_EQ(second.connect(server->transcribePort(), kRawTarget, token), 101);
  const auto refused = second.readAll();
  ASSERT_EQ(refused.size(), 1u);
  EXPECT_EQ(refused[0], R"j({"type":"error","error":"server busy"})j");
  for (const auto& chunk : pcmChunks(pcmOf(speech))) first.sendBinary(chunk);
  first.sendText(R"({"type":"stop"})");
  const auto served = first.readAll();
  ASSERT_FALSE(served.empty());
  EXPECT_EQ(served.back(), R"({"type":"done"})");
}

TEST_F(ServerLiveRouteTest, SessionFindingEveryDecoderInUseGetsTheNextOneFree) {
  start({"--decoders", "1", "--decoder-wait-ms", "60000"});
  LiveClient first;
  ASSERT_EQ(first.connect(server->transcribePort(), kRawTarget, token), 101);
  LiveClient second;
  int secondStatus = 0;
  std::thread waiting([&] { secondStatus = second.connect(server->transcribePort(), kRawTarget, token); });
  for (const auto& chunk : pcmChunks(pcmOf(speech))) first.sendBinary(chunk);
  first.sendText(R"({"type":"stop"})");
  const auto firstMessages = first.readAll();
  waiting.join();
  ASSERT_FALSE(firstMessages.empty());
  EXPECT_EQ(firstMessages.back(), R"({"type":"done"})");
  ASSERT_EQ(secondStatus, 101);
  for (const auto& chunk : pcmChunks(pcmOf(speech))) second.sendBinary(chunk);
  second.sendText(R"({"type":"stop"})");
  const auto secondMessages = second.readAll();
  ASSERT_FALSE(secondMessages.empty());
  EXPECT_EQ(secondMessages.back(), R"({"type":"done"})");
}

TEST_F(ServerLiveRouteTest, ShutdownEndsRunningSessionsWithAnError) {
  LiveClient client;
  ASSERT_EQ(client.connect(server->transcribePort(), kRawTarget, token), 101);
  client.sendBinary(pcmOf(speech).substr(0, 960));
  ASSERT_EQ(server->terminate(), 0);
  const auto messages = client.readAll();
  ASSERT_FALSE(messages.empty());
  EXPECT_EQ(messages.back(), R"j({"type":"error","error":"server shutting down"})j");
  EXPECT_EQ(client.closeCode(), 1000);
  EXPECT_NE(server->output().find("pellum-server: stopped"), std::string::npos);
}

TEST_F(ServerLiveRouteTest, SessionLogLineCarriesNoTranscript) {
  const auto messages = dictate(kRawTarget, pcmOf(speech));
  const auto result = clientResult(messages, TranscriptionMode::raw, false);
  ASSERT_TRUE(result && result->ok());
  server->terminate();
  const std::string log = server->output();
  EXPECT_NE(log.find("pellum-server: live device=1 mode=raw language=en rate=16000"), std::string::npos)
      << log;
  EXPECT_EQ(log.find(result->text()), std::string::npos);
  EXPECT_EQ(log.find(token), std::string::npos);
}

}  // namespace
}  // namespace pellum::server::test
