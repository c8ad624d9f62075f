#include "gladia_wire.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace pellum::server {
namespace {

using nlohmann::json;

TEST(GladiaWireTest, InitBodyDescribesOurAudioAsItIs) {
  const auto body = json::parse(gladiaInitBody({"en"}, "", "base"));
  EXPECT_EQ(body["encoding"], "wav/pcm");
  EXPECT_EQ(body["bit_depth"], 16);
  EXPECT_EQ(body["sample_rate"], 16000);
  EXPECT_EQ(body["channels"], 1);
  EXPECT_EQ(body["language_config"], (json{{"languages", {"en"}}, {"code_switching", false}}));
  EXPECT_FALSE(body.contains("realtime_processing"));
}

TEST(GladiaWireTest, SeveralLanguagesSwitchCodes) {
  const auto body = json::parse(gladiaInitBody({"en", "fr"}, "", "base"));
  EXPECT_EQ(body["language_config"], (json{{"languages", {"en", "fr"}}, {"code_switching", true}}));
}

TEST(GladiaWireTest, TranslationTargetAsksForRealtimeTranslation) {
  const auto body = json::parse(gladiaInitBody({"en"}, "de", "enhanced"));
  EXPECT_EQ(body["realtime_processing"]["translation"], true);
  EXPECT_EQ(body["realtime_processing"]["translation_config"]["target_languages"], json::array({"de"}));
  EXPECT_EQ(body["realtime_processing"]["translation_config"]["model"], "enhanced");
}

TEST(GladiaWireTest, InitAnswerGivesTheSocketUrlOrTheError) {
  auto session =
      readGladiaInit(201, R"({"id":"s1","created_at":"x","url":"wss://api.gladia.io/v2/live?token=t"})");
  ASSERT_TRUE(std::holds_alternative<GladiaSession>(session));
  EXPECT_EQ(std::get<GladiaSession>(session).url, "wss://api.gladia.io/v2/live?token=t");
  EXPECT_EQ(std::get<std::string>(readGladiaInit(401, R"({"message":"Invalid api key","request_id":"r"})")),
            "HTTP 401: Invalid api key");
  EXPECT_EQ(std::get<std::string>(readGladiaInit(500, "oops")), "HTTP 500: oops");
  EXPECT_EQ(std::get<std::string>(readGladiaInit(200, "oops")),
            "the answer to the session start is not JSON");
  EXPECT_EQ(std::get<std::string>(readGladiaInit(200, R"({"id":"s1"})")),
            "the answer to the session start has no session URL");
}

TEST(GladiaWireTest, TranscriptMessagesArePartialOrFinal) {
  auto partial = readGladiaMessage(
      R"({"type":"transcript","session_id":"s","data":{"id":"u1","is_final":false,"utterance":{"text":" Hello"}}})");
  EXPECT_EQ(partial.kind, GladiaEvent::Kind::partial);
  EXPECT_EQ(partial.utteranceId, "u1");
  EXPECT_EQ(partial.text, "Hello");
  auto final = readGladiaMessage(
      R"({"type":"transcript","data":{"id":"u1","is_final":true,"utterance":{"text":" Hello there. ","language":"en"}}})");
  EXPECT_EQ(final.kind, GladiaEvent::Kind::final);
  EXPECT_EQ(final.text, "Hello there.");
}

TEST(GladiaWireTest, AnIsFinalThatIsNoBooleanReadsAsAPartial) {
  for (const char* flag : {"0.1", "\"yes\"", "null", "[true]", "{}"}) {
    const auto event =
        readGladiaMessage(std::string(R"({"type":"transcript","data":{"id":"u1","is_final":)") + flag +
                          R"(,"utterance":{"text":"Hi"}}})");
    EXPECT_EQ(event.kind, GladiaEvent::Kind::partial) << flag;
    EXPECT_EQ(event.text, "Hi") << flag;
  }
}

TEST(GladiaWireTest, TranslationAndPostFinalTranscript) {
  auto translation = readGladiaMessage(
      R"({"type":"translation","data":{"utterance_id":"u1","target_language":"fr","translated_utterance":{"text":"Bonjour."}}})");
  EXPECT_EQ(translation.kind, GladiaEvent::Kind::translation);
  EXPECT_EQ(translation.utteranceId, "u1");
  EXPECT_EQ(translation.text, "Bonjour.");
  auto done = readGladiaMessage(
      R"({"type":"post_final_transcript","data":{"transcription":{"full_transcript":" A b."}}})");
  EXPECT_EQ(done.kind, GladiaEvent::Kind::done);
  EXPECT_EQ(done.text, "A b.");
}

TEST(GladiaWireTest, ErrorsOfBothShapesAndUnreadableMessagesFail) {
  auto nested = readGladiaMessage(
      R"({"type":"error","data":{"status_code":500,"exception":"InternalError","message":"it broke"}})");
  EXPECT_EQ(nested.kind, GladiaEvent::Kind::failed);
  EXPECT_EQ(nested.text, "it broke");
  auto flat = readGladiaMessage(R"({"status_code":400,"exception":"Bad","message":"bad audio"})");
  EXPECT_EQ(flat.kind, GladiaEvent::Kind::failed);
  EXPECT_EQ(flat.text, "bad audio");
  EXPECT_EQ(readGladiaMessage("this is not json").kind, GladiaEvent::Kind::failed);
  EXPECT_EQ(readGladiaMessage("[1,2]").kind, GladiaEvent::Kind::failed);
}

TEST(GladiaWireTest, LifecycleAndAcknowledgementsAreIgnored) {
  for (const char* message : {R"({"type":"start_session"})",
                              R"({"type":"audio_chunk","acknowledged":true,"data":{"byte_range":[0,3200]}})",
                              R"({"type":"stop_recording","data":{"recording_left_to_process":0}})",
                              R"({"type":"end_recording"})", R"({"type":"something_new"})"}) {
    EXPECT_EQ(readGladiaMessage(message).kind, GladiaEvent::Kind::ignored) << message;
  }
}

}  // namespace
}  // namespace pellum::server
