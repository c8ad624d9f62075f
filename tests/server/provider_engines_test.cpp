// The provider engines in process, against a scripted fake of the remote
// APIs (tests/server/fake_speech_provider.h): what a real provider does on
// a good day, and the failures no real one produces on demand.
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <thread>

#include "audio/wav.h"
#include "chat_cleanup.h"
#include "fake_speech_provider.h"
#include "gladia_engine.h"
#include "openai_engine.h"
#include "recorded_speech.h"
#include "text_cleaner.h"

namespace pellum::server::test {
namespace {

using namespace std::chrono_literals;
using nlohmann::json;
using Gladia = FakeSpeechProvider::GladiaScript;
using Reply = FakeSpeechProvider::TranscriptionReply;

std::vector<std::int16_t> silence(std::chrono::milliseconds length) {
  return std::vector<std::int16_t>(static_cast<std::size_t>(length.count()) * 16, 0);
}

std::vector<std::int16_t> samplesOf(const Utterance& utterance) {
  const std::string file = readFile(utterance.wavPath);
  const auto data = std::get<WavInfo>(parseWav(file)).data;
  std::vector<std::int16_t> samples(data.size() / 2);
  std::memcpy(samples.data(), data.data(), samples.size() * 2);
  return samples;
}

// Feeds in the desktop's 30 ms chunks.
void feedAll(SpeechStream& stream, const std::vector<std::int16_t>& samples) {
  for (std::size_t at = 0; at < samples.size(); at += 480)
    stream.feed(std::span(samples).subspan(at, std::min<std::size_t>(480, samples.size() - at)));
}

template <class Condition>
bool eventually(Condition condition) {
  for (int i = 0; i < 500; ++i) {
    if (condition()) return true;
    std::this_thread::sleep_for(10ms);
  }
  return condition();
}

std::string errorOf(const EngineResult& result) {
  auto* error = std::get_if<EngineError>(&result);
  return error ? error->description : "(no error: \"" + textOf(result) + "\")";
}

template <class Opened>
std::string openError(const Opened& opened) {
  auto* error = std::get_if<EngineError>(&opened);
  return error ? error->description : "(opened)";
}

const SpeechRequest kEnglish{{"en"}, "en", {}};

class ScriptedGladiaTest : public ::testing::Test {
 protected:
  GladiaSettings settings() {
    GladiaSettings gladia;
    gladia.baseUrl = fake.baseUrl();
    gladia.key = {"gladia-test-key", "test"};
    gladia.startTimeout = 3000ms;
    gladia.finalTimeout = 3000ms;
    return gladia;
  }

  std::unique_ptr<SpeechStream> open(GladiaEngine& engine, const SpeechRequest& request = kEnglish) {
    auto opened = engine.open(request);
    EXPECT_EQ(openError(opened), "(opened)");
    return std::holds_alternative<std::unique_ptr<SpeechStream>>(opened)
               ? std::get<std::unique_ptr<SpeechStream>>(std::move(opened))
               : nullptr;
  }

  // A session whose provider ends as `ending` says, through to its finish.
  EngineResult finishedWhenGladia(Gladia::Ending ending, std::chrono::milliseconds finalTimeout = 3000ms) {
    Gladia script;
    script.utterances = {"Never delivered."};
    script.ending = ending;
    fake.setGladia(script);
    auto gladia = settings();
    gladia.finalTimeout = finalTimeout;
    GladiaEngine engine(gladia);
    auto stream = open(engine);
    if (!stream) return EngineError{};
    feedAll(*stream, silence(300ms));
    return stream->finish();
  }

  FakeSpeechProvider fake;
};

TEST_F(ScriptedGladiaTest, FinalsOfSeveralUtterancesAreJoinedInOrder) {
  Gladia script;
  script.utterances = {"Hello there.", "How are you?"};
  script.firstUtteranceAfterBytes = 6400;
  fake.setGladia(script);
  GladiaEngine engine(settings());
  auto stream = open(engine, SpeechRequest{{"en", "fr"}, "en", {}});
  ASSERT_TRUE(stream);
  feedAll(*stream, silence(1000ms));
  // The first utterance is final while the user still talks.
  EXPECT_TRUE(eventually([&] { return stream->partial() == "Hello there."; })) << stream->partial();
  const auto result = stream->finish();
  EXPECT_EQ(textOf(result), "Hello there. How are you?") << errorOf(result);

  const auto inits = fake.gladiaInits();
  ASSERT_EQ(inits.size(), 1u);
  EXPECT_EQ(inits[0].headers.at("x-gladia-key"), "gladia-test-key");
  const auto body = json::parse(inits[0].body);
  EXPECT_EQ(body["language_config"], (json{{"languages", {"en", "fr"}}, {"code_switching", true}}));
  EXPECT_EQ(body["encoding"], "wav/pcm");
  EXPECT_EQ(fake.gladiaAudioBytes(), 32000u);
  const auto frames = fake.gladiaFrameSizes();
  ASSERT_EQ(frames.size(), 10u);
  for (auto size : frames) EXPECT_EQ(size, 3200u);  // 100 ms frames
  EXPECT_NE(fake.gladiaTextMessages().back().find("stop_recording"), std::string::npos);
}

TEST_F(ScriptedGladiaTest, TranslationsBecomeTheEnginesTranslation) {
  Gladia script;
  script.utterances = {"Hello.", "Good bye."};
  script.translations = {"Bonjour.", "Au revoir."};
  fake.setGladia(script);
  GladiaEngine engine(settings());
  auto stream = open(engine, SpeechRequest{{"en"}, "en", "fr"});
  ASSERT_TRUE(stream);
  feedAll(*stream, silence(300ms));
  const auto result = stream->finish();
  ASSERT_TRUE(std::holds_alternative<EngineTranscript>(result)) << errorOf(result);
  EXPECT_EQ(std::get<EngineTranscript>(result).text, "Hello. Good bye.");
  EXPECT_EQ(std::get<EngineTranscript>(result).translation, "Bonjour. Au revoir.");
  const auto body = json::parse(fake.gladiaInits().at(0).body);
  EXPECT_EQ(body["realtime_processing"]["translation_config"]["target_languages"], json::array({"fr"}));
}

TEST_F(ScriptedGladiaTest, RefusedStartsAreErrors) {
  GladiaEngine engine(settings());
  for (int status : {429, 500}) {
    Gladia script;
    script.initStatus = status;
    fake.setGladia(script);
    EXPECT_EQ(openError(engine.open(kEnglish)),
              "cannot start a Gladia session: HTTP " + std::to_string(status) + ": scripted init failure");
  }
  Gladia wrongKey;
  wrongKey.apiKey = "another key";
  fake.setGladia(wrongKey);
  const std::string error = openError(engine.open(kEnglish));
  EXPECT_EQ(error.rfind("cannot start a Gladia session: HTTP 401", 0), 0u) << error;
  EXPECT_EQ(fake.gladiaSessions(), 0);
}

TEST_F(ScriptedGladiaTest, UnreachableProviderIsAnError) {
  auto unreachable = settings();
  unreachable.baseUrl = "http://127.0.0.1:9";
  GladiaEngine engine(unreachable);
  EXPECT_EQ(openError(engine.open(kEnglish)), "cannot start a Gladia session: connect: Connection refused");
}

TEST_F(ScriptedGladiaTest, CloseBeforeAnyFinalIsAnError) {
  EXPECT_EQ(errorOf(finishedWhenGladia(Gladia::Ending::closeBeforeFinal)),
            "Gladia closed the session before the final transcript");
}

TEST_F(ScriptedGladiaTest, CloseWithAnErrorCodeMidStreamFailsAtOnce) {
  Gladia script;
  script.utterances = {"Lost."};
  script.ending = Gladia::Ending::closeWithCode;
  script.closeCode = 4001;
  script.faultAfterBytes = 3200;
  fake.setGladia(script);
  GladiaEngine engine(settings());
  auto stream = open(engine);
  ASSERT_TRUE(stream);
  feedAll(*stream, silence(500ms));
  ASSERT_TRUE(eventually([&] { return stream->failure().has_value(); }));
  EXPECT_EQ(stream->failure()->description, "Gladia closed the session (code 4001: scripted close)");
  EXPECT_EQ(errorOf(stream->finish()), "Gladia closed the session (code 4001: scripted close)");
}

TEST_F(ScriptedGladiaTest, ErrorMessageIsAnError) {
  EXPECT_EQ(errorOf(finishedWhenGladia(Gladia::Ending::errorMessage)), "scripted provider error");
}

TEST_F(ScriptedGladiaTest, MessageThatIsNotJsonIsAnError) {
  EXPECT_EQ(errorOf(finishedWhenGladia(Gladia::Ending::notJson)),
            "Gladia sent a message that is not a JSON object");
}

TEST_F(ScriptedGladiaTest, StallPastTheDeadlineIsAnError) {
  EXPECT_EQ(errorOf(finishedWhenGladia(Gladia::Ending::stall, 300ms)),
            "Gladia sent no final transcript within 300 ms");
}

class ScriptedOpenAiTest : public ::testing::Test {
 protected:
  OpenAiSettings settings() {
    OpenAiSettings openai;
    openai.baseUrl = fake.baseUrl() + "/v1";
    openai.key = {"sk-test", "test"};
    openai.model = "whisper-large-v3-turbo";
    openai.timeout = 3000ms;
    return openai;
  }

  std::unique_ptr<SpeechStream> open(OpenAiEngine& engine, const SpeechRequest& request = kEnglish) {
    auto opened = engine.open(request);
    EXPECT_EQ(openError(opened), "(opened)");
    return std::holds_alternative<std::unique_ptr<SpeechStream>>(opened)
               ? std::get<std::unique_ptr<SpeechStream>>(std::move(opened))
               : nullptr;
  }

  std::map<std::string, MultipartField> fieldsOf(const RecordedRequest& request) {
    std::map<std::string, MultipartField> fields;
    for (auto& field : FakeSpeechProvider::multipartFields(request)) fields[field.name] = field;
    return fields;
  }

  FakeSpeechProvider fake;
};

TEST_F(ScriptedOpenAiTest, UploadIsOneRequestCarryingTheRecording) {
  fake.setExpectedBearer("sk-test");
  fake.setTranscriptionReplies({Reply::ok("Hello world.")});
  OpenAiEngine engine(settings());
  auto stream = open(engine);
  ASSERT_TRUE(stream);
  const auto result = stream->transcribeWhole(silence(1000ms));
  EXPECT_EQ(textOf(result), "Hello world.") << errorOf(result);
  const auto requests = fake.transcriptionRequests();
  ASSERT_EQ(requests.size(), 1u);
  EXPECT_EQ(requests[0].target, "/v1/audio/transcriptions");
  EXPECT_EQ(requests[0].headers.at("authorization"), "Bearer sk-test");
  auto fields = fieldsOf(requests[0]);
  EXPECT_EQ(fields["model"].value, "whisper-large-v3-turbo");
  EXPECT_EQ(fields["language"].value, "en");
  EXPECT_EQ(fields["response_format"].value, "json");
  EXPECT_EQ(fields["file"].filename, "audio.wav");
  EXPECT_EQ(fields["file"].contentType, "audio/wav");
  auto wav = parseWav(fields["file"].value);
  ASSERT_TRUE(std::holds_alternative<WavInfo>(wav));
  EXPECT_EQ(std::get<WavInfo>(wav).sampleRate, 16000u);
  EXPECT_EQ(std::get<WavInfo>(wav).data.size(), 32000u);
}

TEST_F(ScriptedOpenAiTest, WhisperServerTextIsTrimmedAndJoined) {
  fake.setTranscriptionPath("/inference");
  fake.setTranscriptionReplies({Reply{200, R"({"text":" Hello there.\n And more.\n"})", {}, false}});
  auto whisper = settings();
  whisper.baseUrl = fake.baseUrl();
  whisper.path = "/inference";
  whisper.key = {};
  OpenAiEngine engine(whisper);
  auto stream = open(engine);
  ASSERT_TRUE(stream);
  EXPECT_EQ(textOf(stream->transcribeWhole(silence(500ms))), "Hello there. And more.");
  EXPECT_EQ(fake.transcriptionRequests().at(0).headers.count("authorization"), 0u);
}

TEST_F(ScriptedOpenAiTest, SeveralLanguagesLetTheServiceDetect) {
  fake.setTranscriptionReplies({Reply::ok("Bonjour.")});
  auto whisper = settings();
  whisper.detectLanguage = "auto";
  OpenAiEngine engine(whisper);
  auto stream = open(engine, SpeechRequest{{"en", "fr"}, "en", {}});
  ASSERT_TRUE(stream);
  EXPECT_EQ(textOf(stream->transcribeWhole(silence(500ms))), "Bonjour.");
  EXPECT_EQ(fieldsOf(fake.transcriptionRequests().at(0))["language"].value, "auto");
}

TEST_F(ScriptedOpenAiTest, RefusalsAndNonsenseAreErrors) {
  const std::string host = "127.0.0.1";
  struct Case {
    Reply reply;
    std::string error;
  } cases[] = {
      {Reply{500, R"({"error":{"message":"model overloaded"}})", {}, false},
       " answered HTTP 500: model overloaded"},
      {Reply{200, "<html>not json</html>", {}, false},
       " answered the answer is not a transcription: <html>not json</html>"},
      {Reply{498, R"({"error":{"message":"capacity exceeded"}})", {}, false},
       " answered HTTP 498: capacity exceeded"},
  };
  OpenAiEngine engine(settings());
  for (const auto& [reply, error] : cases) {
    fake.setTranscriptionReplies({reply});
    auto stream = open(engine);
    ASSERT_TRUE(stream);
    EXPECT_EQ(errorOf(stream->transcribeWhole(silence(300ms))), host + error);
  }
}

TEST_F(ScriptedOpenAiTest, WrongKeyIsRefusedAndTheKeyNeverQuoted) {
  fake.setExpectedBearer("sk-right");
  OpenAiEngine engine(settings());
  auto stream = open(engine);
  ASSERT_TRUE(stream);
  const std::string error = errorOf(stream->transcribeWhole(silence(300ms)));
  EXPECT_EQ(error, "127.0.0.1 answered HTTP 401: Invalid API Key");
  EXPECT_EQ(error.find("sk-test"), std::string::npos);
}

TEST_F(ScriptedOpenAiTest, RateLimitRefusesAtOnceUntilRetryAfter) {
  fake.setTranscriptionReplies(
      {Reply{429, R"({"error":{"message":"Rate limit reached"}})", {{"retry-after", "30"}}, false}});
  OpenAiEngine engine(settings());
  auto stream = open(engine);
  ASSERT_TRUE(stream);
  EXPECT_EQ(errorOf(stream->transcribeWhole(silence(300ms))),
            "127.0.0.1 answered HTTP 429: Rate limit reached (retry after 30 s)");
  // No request, no wait: the next dictation hears why at once.
  const std::string error = openError(engine.open(kEnglish));
  EXPECT_TRUE(error.starts_with("127.0.0.1 is rate limiting: retry in ")) << error;
  EXPECT_EQ(fake.transcriptionRequests().size(), 1u);
}

TEST_F(ScriptedOpenAiTest, SpentQuotaRefusesTheNextDictationAtOnce) {
  fake.setTranscriptionReplies(
      {Reply{200,
             R"({"text":"Last one for today."})",
             {{"x-ratelimit-remaining-requests", "0"}, {"x-ratelimit-reset-requests", "1m"}},
             false}});
  OpenAiEngine engine(settings());
  auto stream = open(engine);
  ASSERT_TRUE(stream);
  EXPECT_EQ(textOf(stream->transcribeWhole(silence(300ms))), "Last one for today.");
  const std::string error = openError(engine.open(kEnglish));
  EXPECT_TRUE(error.starts_with("127.0.0.1 is rate limiting: retry in ")) << error;
  EXPECT_EQ(fake.transcriptionRequests().size(), 1u);
}

TEST_F(ScriptedOpenAiTest, StallIsAnErrorAtTheTimeout) {
  fake.setTranscriptionReplies({Reply{200, "", {}, true}});
  auto quick = settings();
  quick.timeout = 300ms;
  OpenAiEngine engine(quick);
  auto stream = open(engine);
  ASSERT_TRUE(stream);
  EXPECT_EQ(errorOf(stream->transcribeWhole(silence(300ms))), "127.0.0.1: no answer within 300 ms");
}

// Two recordings with a second of silence between: the first is sent while
// the second is still being spoken.
TEST_F(ScriptedOpenAiTest, LiveSpeechIsSentInPiecesAtPauses) {
  fake.setTranscriptionReplies({Reply::ok("one"), Reply::ok("two"), Reply::ok("three"), Reply::ok("four")});
  OpenAiEngine engine(settings());
  auto stream = open(engine);
  ASSERT_TRUE(stream);
  const auto speech = recordedSpeech();
  feedAll(*stream, samplesOf(speech.at(4)));
  feedAll(*stream, silence(1000ms));
  const std::size_t sentWhileTalking = fake.transcriptionRequests().size();
  EXPECT_GE(sentWhileTalking, 1u);
  EXPECT_FALSE(stream->partial().empty());
  feedAll(*stream, samplesOf(speech.at(1)));
  const auto result = stream->finish();
  const auto requests = fake.transcriptionRequests();
  ASSERT_GT(requests.size(), sentWhileTalking);
  const std::vector<std::string> replies{"one", "two", "three", "four"};
  std::string expected;
  for (std::size_t i = 0; i < requests.size(); ++i)
    expected += (i ? " " : "") + replies.at(std::min<std::size_t>(i, 3));
  EXPECT_EQ(textOf(result), expected) << errorOf(result);
}

TEST_F(ScriptedOpenAiTest, MinimumPieceLengthHoldsPiecesBack) {
  fake.setTranscriptionReplies({Reply::ok("all of it")});
  auto billedPerRequest = settings();
  billedPerRequest.minSegment = 60s;
  OpenAiEngine engine(billedPerRequest);
  auto stream = open(engine);
  ASSERT_TRUE(stream);
  const auto speech = recordedSpeech();
  feedAll(*stream, samplesOf(speech.at(4)));
  feedAll(*stream, silence(1000ms));
  feedAll(*stream, samplesOf(speech.at(1)));
  EXPECT_EQ(fake.transcriptionRequests().size(), 0u);
  EXPECT_EQ(textOf(stream->finish()), "all of it");
  EXPECT_EQ(fake.transcriptionRequests().size(), 1u);
}

TEST_F(ScriptedOpenAiTest, SilenceAloneIsSentOnceForTheServiceToJudge) {
  fake.setTranscriptionReplies({Reply::ok("")});
  OpenAiEngine engine(settings());
  auto stream = open(engine);
  ASSERT_TRUE(stream);
  feedAll(*stream, silence(3000ms));
  EXPECT_EQ(fake.transcriptionRequests().size(), 0u);
  EXPECT_EQ(textOf(stream->finish()), "");
  EXPECT_EQ(fake.transcriptionRequests().size(), 1u);
}

class ScriptedChatCleanupTest : public ::testing::Test {
 protected:
  ChatSettings settings() {
    ChatSettings chat;
    chat.baseUrl = fake.baseUrl() + "/v1";
    chat.model = "llama3.2:1b";
    chat.key = {"ollama", "test"};
    chat.timeout = 300ms;
    return chat;
  }
  FakeSpeechProvider fake;
};

TEST_F(ScriptedChatCleanupTest, TheModelsTextIsTheCleanText) {
  fake.setChatReplies({FakeSpeechProvider::ChatReply::ok("Hello, world.")});
  ChatCleanup cleanup(settings());
  EXPECT_EQ(cleanup.clean("um hello world"), "Hello, world.");
  const auto requests = fake.chatRequests();
  ASSERT_EQ(requests.size(), 1u);
  EXPECT_EQ(requests[0].target, "/v1/chat/completions");
  const auto body = json::parse(requests[0].body);
  EXPECT_EQ(body["model"], "llama3.2:1b");
  EXPECT_EQ(body["messages"][1]["content"], "um hello world");
}

TEST_F(ScriptedChatCleanupTest, SlowBrokenOrNonsenseModelsFallBackToTheBuiltInCleaner) {
  ChatCleanup cleanup(settings());
  for (const auto& reply :
       {FakeSpeechProvider::ChatReply{200, "{}", 2000ms},
        FakeSpeechProvider::ChatReply{200, "this is not json", 0ms},
        FakeSpeechProvider::ChatReply{500, R"({"error":{"message":"out of memory"}})", 0ms}}) {
    fake.setChatReplies({reply});
    testing::internal::CaptureStdout();
    EXPECT_EQ(cleanup.clean("um hello the the world"), cleanTranscript("um hello the the world"));
    const std::string log = testing::internal::GetCapturedStdout();
    EXPECT_NE(log.find("clean-up model llama3.2:1b at 127.0.0.1 failed ("), std::string::npos) << log;
    EXPECT_NE(log.find("), using the built-in cleaner"), std::string::npos) << log;
  }
}

}  // namespace
}  // namespace pellum::server::test
