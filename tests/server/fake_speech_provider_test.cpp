// The scripted provider fake answers in the providers' documented wire
// formats, so the server's tests against it mean what they say.
#include "fake_speech_provider.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <future>
#include <ostream>
#include <thread>

#include "route_client.h"

namespace pellum::server::test {
namespace {

using json = nlohmann::json;
using Ending = FakeSpeechProvider::GladiaScript::Ending;

const Headers kGladiaHeaders = {{"x-gladia-key", "gladia-test-key"}, {"content-type", "application/json"}};
const std::string kGladiaBody = R"({"encoding":"wav/pcm","bit_depth":16,"sample_rate":16000,"channels":1})";

// Starts a session over HTTP and opens its WebSocket; the handshake status.
int openScriptedGladiaSession(const FakeSpeechProvider& fake, LiveClient& client) {
  const HttpReply init = httpRequest(fake.port(), "POST", "/v2/live", kGladiaHeaders, kGladiaBody);
  if (init.status != 201) return init.status;
  const std::string url = json::parse(init.body).at("url").get<std::string>();
  const std::string prefix = "ws://127.0.0.1:" + std::to_string(fake.port());
  if (url.rfind(prefix, 0) != 0) return -1;
  return client.connect(fake.port(), url.substr(prefix.size()), "");
}

std::vector<std::string> typesOf(const std::vector<std::string>& messages) {
  std::vector<std::string> types;
  for (const auto& message : messages) types.push_back(messageType(message));
  return types;
}

TEST(FakeSpeechProviderTest, ScriptedGladiaSessionEndsWithPostFinalTranscriptAndClose1000) {
  FakeSpeechProvider fake;
  FakeSpeechProvider::GladiaScript script;
  script.utterances = {"Hello there.", "How are you today?"};
  fake.setGladia(script);

  const HttpReply init =
      httpRequest(fake.port(), "POST", "/v2/live?region=eu-west", kGladiaHeaders, kGladiaBody);
  ASSERT_EQ(init.status, 201);
  const json started = json::parse(init.body);
  EXPECT_EQ(started.at("id"), "fake-session-1");
  EXPECT_EQ(started.at("url"), "ws://127.0.0.1:" + std::to_string(fake.port()) + "/v2/live?token=TOKEN-1");
  ASSERT_EQ(fake.gladiaInits().size(), 1u);
  EXPECT_EQ(fake.gladiaInits()[0].target, "/v2/live?region=eu-west");
  EXPECT_EQ(fake.gladiaInits()[0].headers.at("x-gladia-key"), "gladia-test-key");
  EXPECT_EQ(fake.gladiaInits()[0].body, kGladiaBody);

  LiveClient client;
  ASSERT_EQ(client.connect(fake.port(), "/v2/live?token=TOKEN-1", ""), 101);
  ASSERT_TRUE(client.sendBinary(std::string(3200, '\1')));
  ASSERT_TRUE(client.sendBinary(std::string(1600, '\2')));
  ASSERT_TRUE(client.sendText(R"({"type":"stop_recording"})"));
  const auto messages = client.readAll();
  EXPECT_EQ(client.closeCode(), 1000);

  ASSERT_EQ(typesOf(messages), (std::vector<std::string>{"stop_recording", "transcript", "transcript",
                                                         "transcript", "transcript", "end_recording",
                                                         "post_final_transcript", "end_session"}));
  for (const auto& message : messages) {
    const json parsed = json::parse(message);
    EXPECT_EQ(parsed.at("session_id"), "fake-session-1");
    EXPECT_TRUE(parsed.contains("created_at") && parsed.contains("data")) << message;
  }
  EXPECT_EQ(json::parse(messages[0]).at("acknowledged"), true);
  const json partial = json::parse(messages[1]).at("data");
  EXPECT_EQ(partial.at("id"), "utt-0");
  EXPECT_EQ(partial.at("is_final"), false);
  EXPECT_EQ(partial.at("utterance").at("text"), " Hello");
  const json finalOne = json::parse(messages[2]).at("data");
  EXPECT_EQ(finalOne.at("id"), "utt-0");
  EXPECT_EQ(finalOne.at("is_final"), true);
  EXPECT_EQ(finalOne.at("utterance").at("text"), " Hello there.");
  EXPECT_EQ(finalOne.at("utterance").at("language"), "en");
  EXPECT_EQ(json::parse(messages[4]).at("data").at("utterance").at("text"), " How are you today?");
  EXPECT_EQ(json::parse(messages[6]).at("data").at("transcription").at("full_transcript"),
            "Hello there. How are you today?");

  EXPECT_EQ(fake.gladiaSessions(), 1);
  ASSERT_EQ(fake.gladiaUpgrades().size(), 1u);
  EXPECT_EQ(fake.gladiaUpgrades()[0].target, "/v2/live?token=TOKEN-1");
  EXPECT_EQ(fake.gladiaAudioBytes(), 4800u);
  EXPECT_EQ(fake.gladiaFrameSizes(), (std::vector<std::size_t>{3200, 1600}));
  EXPECT_EQ(fake.gladiaTextMessages(), (std::vector<std::string>{R"({"type":"stop_recording"})"}));
}

// Audio may also come as base64 in audio_chunk messages; text that is
// neither is recorded and otherwise ignored.
TEST(FakeSpeechProviderTest, ScriptedGladiaCountsAudioChunksAndSkipsOddText) {
  FakeSpeechProvider fake;
  FakeSpeechProvider::GladiaScript script;
  script.utterances = {"Hi."};
  fake.setGladia(script);
  LiveClient client;
  ASSERT_EQ(openScriptedGladiaSession(fake, client), 101);
  ASSERT_TRUE(client.sendText(R"({"type":"audio_chunk","data":{"chunk":"AAECAwQ="}})"));
  ASSERT_TRUE(client.sendText(R"({"type":"audio_chunk","data":{"chunk":"not base64!"}})"));
  ASSERT_TRUE(client.sendText(R"({"type":5,"data":[]})"));
  ASSERT_TRUE(client.sendText("not json"));
  ASSERT_TRUE(client.sendText(R"({"type":"stop_recording"})"));
  const auto messages = client.readAll();
  EXPECT_EQ(client.closeCode(), 1000);
  EXPECT_EQ(messages.size(), 6u);
  EXPECT_EQ(fake.gladiaAudioBytes(), 5u);
  EXPECT_EQ(fake.gladiaFrameSizes(), std::vector<std::size_t>{5});
  EXPECT_EQ(fake.gladiaTextMessages().size(), 5u);
}

TEST(FakeSpeechProviderTest, ScriptedGladiaRefusesAWrongKeyAndAWrongToken) {
  FakeSpeechProvider fake;
  const HttpReply init =
      httpRequest(fake.port(), "POST", "/v2/live", {{"x-gladia-key", "wrong"}}, kGladiaBody);
  EXPECT_EQ(init.status, 401);
  EXPECT_EQ(json::parse(init.body).at("message"), "Invalid api key");

  LiveClient client;
  EXPECT_EQ(client.connect(fake.port(), "/v2/live?token=TOKEN-1", ""), 401);
  EXPECT_EQ(fake.gladiaSessions(), 0);
  EXPECT_EQ(fake.gladiaUpgrades().size(), 1u);
  LiveClient elsewhere;
  EXPECT_EQ(elsewhere.connect(fake.port(), "/v1/realtime?token=TOKEN-1", ""), 404);
}

TEST(FakeSpeechProviderTest, ScriptedGladiaInitFailureCarriesItsStatusAndHeaders) {
  FakeSpeechProvider fake;
  FakeSpeechProvider::GladiaScript script;
  script.initStatus = 429;
  script.initError = "too many sessions";
  script.initHeaders = {{"retry-after", "3"}};
  fake.setGladia(script);
  const HttpReply init = httpRequest(fake.port(), "POST", "/v2/live", kGladiaHeaders, kGladiaBody);
  EXPECT_EQ(init.status, 429);
  EXPECT_EQ(init.headers.at("retry-after"), "3");
  EXPECT_EQ(json::parse(init.body).at("message"), "too many sessions");
}

TEST(FakeSpeechProviderTest, ScriptedGladiaSendsTheFirstUtteranceBeforeStopAndTranslations) {
  FakeSpeechProvider fake;
  FakeSpeechProvider::GladiaScript script;
  script.utterances = {"One two three four.", "Five."};
  script.translations = {"Un deux trois quatre.", "Cinq."};
  script.firstUtteranceAfterBytes = 3200;
  fake.setGladia(script);
  LiveClient client;
  ASSERT_EQ(openScriptedGladiaSession(fake, client), 101);
  ASSERT_TRUE(client.sendBinary(std::string(3200, '\0')));

  std::vector<std::string> early;
  for (int i = 0; i < 3; ++i) early.push_back(client.read().value_or(""));
  EXPECT_EQ(typesOf(early), (std::vector<std::string>{"transcript", "transcript", "translation"}));
  EXPECT_EQ(json::parse(early[0]).at("data").at("utterance").at("text"), " One two");
  const json translation = json::parse(early[2]).at("data");
  EXPECT_EQ(translation.at("utterance_id"), "utt-0");
  EXPECT_EQ(translation.at("translated_utterance").at("text"), "Un deux trois quatre.");

  ASSERT_TRUE(client.sendText(R"({"type":"stop_recording"})"));
  const auto rest = client.readAll();
  EXPECT_EQ(typesOf(rest),
            (std::vector<std::string>{"stop_recording", "transcript", "transcript", "translation",
                                      "end_recording", "post_final_transcript", "end_session"}));
  EXPECT_EQ(json::parse(rest[2]).at("data").at("id"), "utt-1");
  EXPECT_EQ(client.closeCode(), 1000);
}

struct EndingCase {
  const char* name;
  Ending ending;
  std::size_t faultAfterBytes;
  std::vector<std::string> expectedMessages;  // what arrives after the audio (and stop)
  int expectedCloseCode;                      // 0: the socket stays open
};

// Named, so GoogleTest does not print the case's raw bytes (padding included).
void PrintTo(const EndingCase& endingCase, std::ostream* out) { *out << endingCase.name; }

class FakeSpeechProviderEndingTest : public ::testing::TestWithParam<EndingCase> {};

TEST_P(FakeSpeechProviderEndingTest, ScriptedEnding) {
  const EndingCase& ending = GetParam();
  FakeSpeechProvider fake;
  FakeSpeechProvider::GladiaScript script;
  script.utterances = {"Never sent."};
  script.ending = ending.ending;
  script.closeCode = 4401;
  script.faultAfterBytes = ending.faultAfterBytes;
  fake.setGladia(script);
  LiveClient client;
  ASSERT_EQ(openScriptedGladiaSession(fake, client), 101);
  ASSERT_TRUE(client.sendBinary(std::string(1000, '\0')));
  if (ending.faultAfterBytes == 0) {
    ASSERT_TRUE(client.sendText(R"({"type":"stop_recording"})"));
  }

  std::vector<std::string> received;
  for (std::size_t i = 0; i < ending.expectedMessages.size(); ++i)
    received.push_back(client.read().value_or(""));
  EXPECT_EQ(received, ending.expectedMessages);
  if (ending.expectedCloseCode != 0) {
    EXPECT_EQ(client.read(), std::nullopt);
    EXPECT_EQ(client.closeCode(), ending.expectedCloseCode);
  }
}

const std::string kScriptedError =
    json{{"session_id", "fake-session-1"},
         {"created_at", "2026-01-01T00:00:00Z"},
         {"type", "error"},
         {"data",
          {{"status_code", 500}, {"exception", "InternalError"}, {"message", "scripted provider error"}}}}
        .dump();

INSTANTIATE_TEST_SUITE_P(
    Endings, FakeSpeechProviderEndingTest,
    ::testing::Values(EndingCase{"CloseBeforeFinal", Ending::closeBeforeFinal, 0, {}, 1000},
                      EndingCase{"CloseWithCodeAtStop", Ending::closeWithCode, 0, {}, 4401},
                      EndingCase{"CloseWithCodeMidAudio", Ending::closeWithCode, 1000, {}, 4401},
                      EndingCase{"ErrorMessageAtStop", Ending::errorMessage, 0, {kScriptedError}, 0},
                      EndingCase{"NotJsonMidAudio", Ending::notJson, 500, {"this is not json"}, 0}),
    [](const ::testing::TestParamInfo<EndingCase>& endingCase) {
      return std::string(endingCase.param.name);
    });

// A stalled session answers its stop with nothing at all; the socket is
// only cut (without a close frame) when the fake goes.
TEST(FakeSpeechProviderTest, ScriptedGladiaStallSendsNothingAfterStop) {
  auto fake = std::make_unique<FakeSpeechProvider>();
  FakeSpeechProvider::GladiaScript script;
  script.utterances = {"Never sent."};
  script.ending = Ending::stall;
  fake->setGladia(script);
  LiveClient client;
  ASSERT_EQ(openScriptedGladiaSession(*fake, client), 101);
  ASSERT_TRUE(client.sendBinary(std::string(1000, '\0')));
  ASSERT_TRUE(client.sendText(R"({"type":"stop_recording"})"));
  const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (fake->gladiaTextMessages().empty() && std::chrono::steady_clock::now() < giveUp) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  ASSERT_EQ(fake->gladiaTextMessages().size(), 1u);
  fake.reset();
  EXPECT_EQ(client.read(), std::nullopt);
  EXPECT_EQ(client.closeCode(), 0);
}

TEST(FakeSpeechProviderTest, ScriptedTranscriptionRepliesComeInOrderAndTheLastRepeats) {
  FakeSpeechProvider fake;
  FakeSpeechProvider::TranscriptionReply limited;
  limited.status = 429;
  limited.body = R"({"error":{"message":"slow down","type":"rate_limit"}})";
  limited.headers = {{"retry-after", "7"}};
  fake.setTranscriptionReplies({FakeSpeechProvider::TranscriptionReply::ok("first"), limited,
                                FakeSpeechProvider::TranscriptionReply::ok("last")});
  std::vector<int> statuses;
  std::vector<std::string> bodies;
  for (int i = 0; i < 4; ++i) {
    const HttpReply reply = httpRequest(fake.port(), "POST", "/v1/audio/transcriptions", {}, "x");
    statuses.push_back(reply.status);
    bodies.push_back(reply.body);
  }
  EXPECT_EQ(statuses, (std::vector<int>{200, 429, 200, 200}));
  EXPECT_EQ(bodies[0], R"({"text":"first"})");
  EXPECT_EQ(bodies[3], R"({"text":"last"})");
  EXPECT_EQ(fake.transcriptionRequests().size(), 4u);
  EXPECT_EQ(httpRequest(fake.port(), "POST", "/v1/elsewhere").status, 404);
  EXPECT_EQ(httpRequest(fake.port(), "GET", "/health").body, R"({"status":"ok"})");
}

TEST(FakeSpeechProviderTest, ScriptedTranscriptionChecksTheBearerKey) {
  FakeSpeechProvider fake;
  fake.setExpectedBearer("sk-test");
  fake.setTranscriptionReplies({FakeSpeechProvider::TranscriptionReply::ok("hi")});
  const HttpReply missing = httpRequest(fake.port(), "POST", "/v1/audio/transcriptions");
  EXPECT_EQ(missing.status, 401);
  EXPECT_EQ(json::parse(missing.body).at("error").at("code"), "invalid_api_key");
  EXPECT_EQ(
      httpRequest(fake.port(), "POST", "/v1/audio/transcriptions", {{"authorization", "Bearer sk-test"}})
          .status,
      200);
}

TEST(FakeSpeechProviderTest, ScriptedInferencePathRecordsAMultipartUpload) {
  FakeSpeechProvider fake;
  fake.setTranscriptionPath("/inference");
  fake.setTranscriptionReplies({FakeSpeechProvider::TranscriptionReply::ok(" Hello.\n")});
  const std::string audio("RIFF\0\r\n--not-it\r\n\xff", 18);
  const std::string body =
      "--XyZ\r\nContent-Disposition: form-data; name=\"file\"; filename=\"speech.wav\"\r\n"
      "Content-Type: audio/wav\r\n\r\n" +
      audio +
      "\r\n--XyZ\r\nContent-Disposition: form-data; name=\"language\"\r\n\r\nauto\r\n"
      "--XyZ\r\ncontent-disposition: form-data; name=\"prompt\"\r\n\r\n\r\n--XyZ--\r\n";
  const HttpReply reply = httpRequest(fake.port(), "POST", "/inference",
                                      {{"content-type", "multipart/form-data; boundary=\"XyZ\""}}, body);
  EXPECT_EQ(reply.status, 200);
  ASSERT_EQ(fake.transcriptionRequests().size(), 1u);
  const auto fields = FakeSpeechProvider::multipartFields(fake.transcriptionRequests()[0]);
  ASSERT_EQ(fields.size(), 3u);
  EXPECT_EQ(fields[0].name, "file");
  EXPECT_EQ(fields[0].filename, "speech.wav");
  EXPECT_EQ(fields[0].contentType, "audio/wav");
  EXPECT_EQ(fields[0].value, audio);
  EXPECT_EQ(fields[1].name, "language");
  EXPECT_EQ(fields[1].value, "auto");
  EXPECT_EQ(fields[2].name, "prompt");
  EXPECT_EQ(fields[2].value, "");
  EXPECT_TRUE(FakeSpeechProvider::multipartFields(RecordedRequest{}).empty());
}

TEST(FakeSpeechProviderTest, ScriptedChatReplyArrivesAfterItsDelay) {
  FakeSpeechProvider fake;
  auto reply = FakeSpeechProvider::ChatReply::ok("Clean text.");
  reply.delay = std::chrono::milliseconds(20);
  reply.headers = {{"x-ratelimit-remaining-requests", "9"}};
  fake.setChatReplies({reply});
  const HttpReply answer = httpRequest(fake.port(), "POST", "/v1/chat/completions", {}, R"({"model":"m"})");
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(json::parse(answer.body).at("choices").at(0).at("message").at("content"), "Clean text.");
  EXPECT_EQ(answer.headers.at("x-ratelimit-remaining-requests"), "9");
  ASSERT_EQ(fake.chatRequests().size(), 1u);
  EXPECT_EQ(fake.chatRequests()[0].body, R"({"model":"m"})");
}

// A delayed or stalled reply holds no thread: other requests are answered
// meanwhile, and destroying the fake cuts the waiting connections.
TEST(FakeSpeechProviderTest, ScriptedDelaysAndStallsBlockNothingAndEndWithTheFake) {
  auto fake = std::make_unique<FakeSpeechProvider>();
  auto chat = FakeSpeechProvider::ChatReply::ok("late");
  chat.delay = std::chrono::hours(1);
  fake->setChatReplies({chat});
  FakeSpeechProvider::TranscriptionReply stalled;
  stalled.stall = true;
  fake->setTranscriptionReplies({stalled});
  const unsigned short port = fake->port();
  auto chatReply =
      std::async(std::launch::async, [port] { return httpRequest(port, "POST", "/v1/chat/completions"); });
  auto transcriptionReply = std::async(
      std::launch::async, [port] { return httpRequest(port, "POST", "/v1/audio/transcriptions"); });
  const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while ((fake->chatRequests().empty() || fake->transcriptionRequests().empty()) &&
         std::chrono::steady_clock::now() < giveUp) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  ASSERT_EQ(fake->chatRequests().size(), 1u);
  ASSERT_EQ(fake->transcriptionRequests().size(), 1u);

  EXPECT_EQ(httpRequest(port, "GET", "/health").status, 200);
  fake.reset();
  EXPECT_EQ(chatReply.get().status, 0);
  EXPECT_EQ(transcriptionReply.get().status, 0);
}

}  // namespace
}  // namespace pellum::server::test
