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
  BuiltInCleanup cleanup;
  for (const char* text : {"", "  ", "\n"}) {
    auto result = finishTranscript({text}, TranscriptionMode::clean, "en", "", cleanup, translator);
    EXPECT_EQ(result.error, "no speech detected");
    EXPECT_EQ(liveMessages(result),
              (std::vector<std::string>{R"({"type":"error","error":"no speech detected"})"}));
    EXPECT_EQ(uploadEvents(result), "event: error\ndata: no speech detected\n\n");
  }
}

TEST(ServerTranscriptResultTest, CleanModeSendsCleanedPieces) {
  FakeTranslator translator;
  BuiltInCleanup cleanup;
  auto result =
      finishTranscript({"um hello the the world"}, TranscriptionMode::clean, "en", "", cleanup, translator);
  EXPECT_EQ(
      liveMessages(result),
      (std::vector<std::string>{R"({"type":"raw","text":"um hello the the world"})",
                                R"({"type":"chunk","text":"Hello the world."})", R"({"type":"done"})"}));
}

TEST(ServerTranscriptResultTest, RawModeSendsTheFinalRawThenDone) {
  FakeTranslator translator;
  BuiltInCleanup cleanup;
  auto result = finishTranscript({"hello world"}, TranscriptionMode::raw, "en", "", cleanup, translator);
  EXPECT_EQ(liveMessages(result),
            (std::vector<std::string>{R"({"type":"raw","text":"hello world"})", R"({"type":"done"})"}));
  EXPECT_EQ(uploadEvents(result), "event: raw\ndata: \"hello world\"\n\nevent: done\ndata: {}\n\n");
}

TEST(ServerTranscriptResultTest, TranslationOfCleanedTextInCleanMode) {
  FakeTranslator translator;
  BuiltInCleanup cleanup;
  auto result = finishTranscript({"hello world"}, TranscriptionMode::clean, "en", "es", cleanup, translator);
  EXPECT_EQ(translator.lastInput, "Hello world.");
  EXPECT_EQ(result.pieces, (std::vector<std::string>{"HELLO WORLD."}));
}

TEST(ServerTranscriptResultTest, TranslationOfVerbatimTextInRawMode) {
  FakeTranslator translator;
  BuiltInCleanup cleanup;
  auto result = finishTranscript({"hello world"}, TranscriptionMode::raw, "en", "es", cleanup, translator);
  EXPECT_EQ(translator.lastInput, "hello world");
  EXPECT_EQ(result.pieces, (std::vector<std::string>{"HELLO WORLD"}));
}

TEST(ServerTranscriptResultTest, TranslationIntoTheSpokenLanguageIsSkipped) {
  FakeTranslator translator;
  BuiltInCleanup cleanup;
  auto result = finishTranscript({"hello"}, TranscriptionMode::raw, "en", "en", cleanup, translator);
  EXPECT_TRUE(translator.lastInput.empty());
  EXPECT_FALSE(result.error.has_value());
}

TEST(ServerTranscriptResultTest, MissingPairIsAnErrorNamingIt) {
  FakeTranslator translator;
  BuiltInCleanup cleanup;
  auto result = finishTranscript({"hello"}, TranscriptionMode::clean, "en", "fr", cleanup, translator);
  EXPECT_EQ(result.error, "no translation pair for English (en) to French (fr) is installed");
}

TEST(ServerTranscriptResultTest, TheEnginesOwnTranslationIsUsedWithoutTheTranslator) {
  FakeTranslator translator;
  BuiltInCleanup cleanup;
  auto result = finishTranscript({"hello world", "Bonjour le monde."}, TranscriptionMode::clean, "en", "fr",
                                 cleanup, translator);
  EXPECT_FALSE(result.error.has_value());
  EXPECT_TRUE(translator.lastInput.empty());
  EXPECT_EQ(result.raw, "hello world");
  EXPECT_EQ(result.pieces, (std::vector<std::string>{"Bonjour le monde."}));
}

// Stands in for a model: says what it was given.
class EchoCleanup : public TextCleanup {
 public:
  std::string clean(std::string_view verbatim) override { return "<" + std::string(verbatim) + ">"; }
};

TEST(ServerTranscriptResultTest, CleanModeGoesThroughTheConfiguredCleanup) {
  FakeTranslator translator;
  EchoCleanup cleanup;
  auto result = finishTranscript({"um hello"}, TranscriptionMode::clean, "en", "", cleanup, translator);
  EXPECT_EQ(result.pieces, (std::vector<std::string>{"<um hello>"}));
  auto raw = finishTranscript({"um hello"}, TranscriptionMode::raw, "en", "", cleanup, translator);
  EXPECT_TRUE(raw.pieces.empty());
}

}  // namespace
}  // namespace pellum::server
