#include "transcript_result.h"

#include <gtest/gtest.h>

namespace pellum::server {
namespace {

// Upper-cases English into "es"; knows no other pair.
class FakeTranslator : public Translator {
 public:
  bool hasPair(std::string_view from, std::string_view to) const override {
    return from == "en" && to == "es";
  }
  std::variant<std::string, TranslationError> translate(std::string_view text, std::string_view from,
                                                        std::string_view to) override {
    lastInput = std::string(text);
    if (!hasPair(from, to)) return TranslationError{missingPairText(from, to)};
    std::string out(text);
    for (char& c : out) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return out;
  }
  std::string lastInput;
};

TEST(ServerTranscriptResultTest, EmptyTranscriptIsNoSpeech) {
  FakeTranslator translator;
  for (const char* text : {"", "  ", "\n"}) {
    auto result = finishTranscript(text, TranscriptionMode::clean, "en", "", translator);
    EXPECT_EQ(result.error, "no speech detected");
    EXPECT_EQ(liveMessages(result),
              (std::vector<std::string>{R"({"type":"error","error":"no speech detected"})"}));
    EXPECT_EQ(uploadEvents(result), "event: error\ndata: no speech detected\n\n");
  }
}

TEST(ServerTranscriptResultTest, CleanModeSendsCleanedPieces) {
  FakeTranslator translator;
  auto result = finishTranscript("um hello the the world", TranscriptionMode::clean, "en", "", translator);
  EXPECT_EQ(
      liveMessages(result),
      (std::vector<std::string>{R"({"type":"raw","text":"um hello the the world"})",
                                R"({"type":"chunk","text":"Hello the world."})", R"({"type":"done"})"}));
}

TEST(ServerTranscriptResultTest, RawModeSendsTheFinalRawThenDone) {
  FakeTranslator translator;
  auto result = finishTranscript("hello world", TranscriptionMode::raw, "en", "", translator);
  EXPECT_EQ(liveMessages(result),
            (std::vector<std::string>{R"({"type":"raw","text":"hello world"})", R"({"type":"done"})"}));
  EXPECT_EQ(uploadEvents(result), "event: raw\ndata: \"hello world\"\n\nevent: done\ndata: {}\n\n");
}

TEST(ServerTranscriptResultTest, TranslationOfCleanedTextInCleanMode) {
  FakeTranslator translator;
  auto result = finishTranscript("hello world", TranscriptionMode::clean, "en", "es", translator);
  EXPECT_EQ(translator.lastInput, "Hello world.");
  EXPECT_EQ(result.pieces, (std::vector<std::string>{"HELLO WORLD."}));
}

TEST(ServerTranscriptResultTest, TranslationOfVerbatimTextInRawMode) {
  FakeTranslator translator;
  auto result = finishTranscript("hello world", TranscriptionMode::raw, "en", "es", translator);
  EXPECT_EQ(translator.lastInput, "hello world");
  EXPECT_EQ(result.pieces, (std::vector<std::string>{"HELLO WORLD"}));
}

TEST(ServerTranscriptResultTest, TranslationIntoTheSpokenLanguageIsSkipped) {
  FakeTranslator translator;
  auto result = finishTranscript("hello", TranscriptionMode::raw, "en", "en", translator);
  EXPECT_TRUE(translator.lastInput.empty());
  EXPECT_FALSE(result.error.has_value());
}

TEST(ServerTranscriptResultTest, MissingPairIsAnErrorNamingIt) {
  FakeTranslator translator;
  auto result = finishTranscript("hello", TranscriptionMode::clean, "en", "fr", translator);
  EXPECT_EQ(result.error, "no translation pair for English (en) to French (fr) is installed");
}

}  // namespace
}  // namespace pellum::server
