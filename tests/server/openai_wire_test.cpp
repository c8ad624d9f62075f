#include "openai_wire.h"

#include <gtest/gtest.h>

namespace pellum::server {
namespace {

using Headers = std::map<std::string, std::string>;

std::string textOf(const std::variant<std::string, ProviderRefusal>& answer) {
  if (auto* refusal = std::get_if<ProviderRefusal>(&answer)) return "refused: " + refusal->description;
  return std::get<std::string>(answer);
}

TEST(OpenAiWireTest, FormCarriesTheFieldsAndTheRecording) {
  const std::string body = transcriptionForm("B", {"whisper-large-v3", "fr", ""}, "RIFFdata");
  EXPECT_NE(body.find("--B\r\nContent-Disposition: form-data; name=\"model\"\r\n\r\nwhisper-large-v3\r\n"),
            std::string::npos);
  EXPECT_NE(body.find("name=\"language\"\r\n\r\nfr\r\n"), std::string::npos);
  EXPECT_EQ(body.find("name=\"prompt\""), std::string::npos);  // empty fields stay out
  EXPECT_NE(body.find("name=\"response_format\"\r\n\r\njson\r\n"), std::string::npos);
  EXPECT_NE(
      body.find(
          "name=\"file\"; filename=\"audio.wav\"\r\nContent-Type: audio/wav\r\n\r\nRIFFdata\r\n--B--\r\n"),
      std::string::npos);
}

TEST(OpenAiWireTest, TranscriptionTextIsTrimmedLineByLine) {
  EXPECT_EQ(textOf(readTranscriptionAnswer(200, {}, R"({"text":"Hello world."})")), "Hello world.");
  // whisper-server: a leading blank on every segment, a line feed after each.
  EXPECT_EQ(textOf(readTranscriptionAnswer(200, {}, R"({"text":" Hello there.\n And more.\n"})")),
            "Hello there. And more.");
  EXPECT_EQ(textOf(readTranscriptionAnswer(200, {}, R"({"text":""})")), "");
}

TEST(OpenAiWireTest, ErrorAnswersOfEveryUsualShapeAreRefusals) {
  EXPECT_EQ(textOf(readTranscriptionAnswer(401, {}, R"({"error":{"message":"Invalid API Key","type":"x"}})")),
            "refused: HTTP 401: Invalid API Key");
  EXPECT_EQ(textOf(readTranscriptionAnswer(500, {}, R"({"error":"failed to read audio"})")),
            "refused: HTTP 500: failed to read audio");
  EXPECT_EQ(textOf(readTranscriptionAnswer(502, {}, "<html>Bad gateway</html>")),
            "refused: HTTP 502: <html>Bad gateway</html>");
  EXPECT_EQ(textOf(readTranscriptionAnswer(503, {}, "")), "refused: HTTP 503: no details");
}

TEST(OpenAiWireTest, RateLimitCarriesItsRetryAfter) {
  auto answer =
      readTranscriptionAnswer(429, Headers{{"retry-after", "7"}}, R"({"error":{"message":"slow down"}})");
  auto* refusal = std::get_if<ProviderRefusal>(&answer);
  ASSERT_TRUE(refusal);
  EXPECT_EQ(refusal->retryAfter, std::chrono::seconds(7));
  EXPECT_EQ(refusal->description, "HTTP 429: slow down (retry after 7 s)");
  auto fractional = readTranscriptionAnswer(429, Headers{{"retry-after", "2.5"}}, "{}");
  EXPECT_EQ(std::get<ProviderRefusal>(fractional).retryAfter, std::chrono::seconds(3));
}

TEST(OpenAiWireTest, AbsurdWaitsAreADayAndNonsenseIsNone) {
  EXPECT_EQ(std::get<ProviderRefusal>(readTranscriptionAnswer(429, Headers{{"retry-after", "2e59"}}, "{}"))
                .retryAfter,
            std::chrono::hours(24));
  EXPECT_FALSE(std::get<ProviderRefusal>(readTranscriptionAnswer(429, Headers{{"retry-after", "nan"}}, "{}"))
                   .retryAfter);
  EXPECT_EQ(parseRateLimitDuration("1e300h"), std::chrono::hours(24));
  EXPECT_FALSE(parseRateLimitDuration("nans"));
}

TEST(OpenAiWireTest, SuccessThatIsNotATranscriptionIsARefusal) {
  EXPECT_EQ(textOf(readTranscriptionAnswer(200, {}, "not json")),
            "refused: the answer is not a transcription: not json");
  EXPECT_EQ(textOf(readTranscriptionAnswer(200, {}, R"({"text":42})")).substr(0, 40),
            "refused: the answer is not a transcripti");
}

TEST(OpenAiWireTest, ChatRequestCarriesTheInstructionAndTheText) {
  const std::string body = cleanupChatRequest("llama3.2", "um hello \"world\"");
  EXPECT_NE(body.find(R"("model":"llama3.2")"), std::string::npos);
  EXPECT_NE(body.find(R"("role":"system")"), std::string::npos);
  EXPECT_NE(body.find(R"("content":"um hello \"world\"")"), std::string::npos);
  EXPECT_NE(body.find(R"("temperature":0)"), std::string::npos);
}

TEST(OpenAiWireTest, ChatAnswerContentOrRefusal) {
  EXPECT_EQ(textOf(readChatAnswer(200, {},
                                  R"({"choices":[{"message":{"role":"assistant","content":" Hello. "}}]})")),
            "Hello.");
  EXPECT_EQ(textOf(readChatAnswer(200, {}, "{not json")),
            "refused: the answer is not a chat completion: {not json");
  EXPECT_EQ(textOf(readChatAnswer(200, {}, R"({"choices":[{"message":{"content":""}}]})")),
            "refused: the model answered with no text");
  EXPECT_EQ(textOf(readChatAnswer(404, {}, R"({"error":{"message":"model not found"}})")),
            "refused: HTTP 404: model not found");
}

TEST(OpenAiWireTest, RateLimitDurationsInTheProvidersFormat) {
  using std::chrono::milliseconds;
  EXPECT_EQ(parseRateLimitDuration("2m59.56s"), milliseconds(179560));
  EXPECT_EQ(parseRateLimitDuration("7.66s"), milliseconds(7660));
  EXPECT_EQ(parseRateLimitDuration("120ms"), milliseconds(120));
  EXPECT_EQ(parseRateLimitDuration("1h2m3s"), milliseconds(3723000));
  for (const char* bad : {"", "soon", "5", "3x", "-1s"}) EXPECT_FALSE(parseRateLimitDuration(bad)) << bad;
}

TEST(OpenAiWireTest, SpentQuotaRefusesUntilItsReset) {
  EXPECT_EQ(
      quotaExhaustedFor({{"x-ratelimit-remaining-requests", "0"}, {"x-ratelimit-reset-requests", "2m"}}),
      std::chrono::minutes(2));
  EXPECT_FALSE(
      quotaExhaustedFor({{"x-ratelimit-remaining-requests", "13"}, {"x-ratelimit-reset-requests", "2m"}}));
  EXPECT_FALSE(quotaExhaustedFor({{"x-ratelimit-remaining-requests", "0"}}));
  EXPECT_FALSE(quotaExhaustedFor({}));
}

TEST(OpenAiWireTest, KeysAreTakenOutOfProviderTexts) {
  EXPECT_EQ(withoutKey("Incorrect API key provided: sk-123, sk-123", "sk-123"),
            "Incorrect API key provided: [key], [key]");
  EXPECT_EQ(withoutKey("no key here", ""), "no key here");
}

}  // namespace
}  // namespace pellum::server
