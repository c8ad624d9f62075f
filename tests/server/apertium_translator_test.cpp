#include "apertium_translator.h"

#include <gtest/gtest.h>

#include "apertium_modes.h"
#include "apertium_pipeline.h"
#include "recorded_speech.h"

namespace pellum::server {
namespace {

TEST(ServerApertiumModesTest, CandidateNames) {
  EXPECT_EQ(apertiumModeNames("en", "es"), (std::vector<std::string>{"eng-spa", "en-es", "eng-es", "en-spa"}));
  EXPECT_EQ(apertiumModeNames("en", "gl").front(), "eng-glg");
  EXPECT_EQ(apertiumModeNames("xx", "yy"), (std::vector<std::string>{"xx-yy"}));
}

TEST(ServerApertiumModesTest, PipelineFlushesAtEveryNul) {
  EXPECT_EQ(nullFlushPipeline("lt-proc 'a.bin' | apertium-tagger -g $2 'p' | apertium-pretransfer| lt-proc $1 'g.bin'\n"),
            "lt-proc -z 'a.bin' | apertium-tagger -z -g  'p' | apertium-pretransfer -z | lt-proc -z -n 'g.bin'");
  EXPECT_EQ(nullFlushPipeline("  \n"), "");
}

TEST(ServerApertiumModesTest, EscapesTheStreamFormat) {
  EXPECT_EQ(apertiumEscape("a [b] ^c$ d/e \\ f@<g>{h}*#+~|"),
            "a \\[b\\] \\^c\\$ d\\/e \\\\ f\\@\\<g\\>\\{h\\}\\*\\#\\+\\~\\|");
  EXPECT_EQ(apertiumEscape(std::string("a\0b", 3)), "ab");
  EXPECT_EQ(apertiumUnescape(apertiumEscape("x [y] \\ z^")), "x [y] \\ z^");
}

// The pipeline itself, without the one-shot fallback behind it: a stage that
// failed to flush would leave translate() waiting until its time-out.
TEST(ServerApertiumPipelineTest, AnswersTextAfterTextWithoutRestarting) {
  ApertiumPipeline pipeline(nullFlushPipeline(test::readFile("/usr/share/apertium/modes/eng-spa.mode")));
  for (const char* text : {"Hello", "He was not a young man.", "Second [line] here \\ ^now$", "young man"}) {
    const auto translated = pipeline.translate(text);
    ASSERT_TRUE(translated.has_value()) << text;
    EXPECT_FALSE(translated->empty()) << text;
  }
  const auto lines = pipeline.translate("First line.\nSecond line.");
  ASSERT_TRUE(lines.has_value());
  EXPECT_NE(lines->find('\n'), std::string::npos) << *lines;
}

TEST(ServerApertiumPipelineTest, PipelineThatCannotStartAnswersNothing) {
  ApertiumPipeline pipeline("exec /nonexistent/apertium-stage -z");
  EXPECT_FALSE(pipeline.translate("hello").has_value());
}

TEST(ServerApertiumTranslatorTest, TranslatesEnglishToSpanish) {
  ApertiumTranslator translator;
  ASSERT_TRUE(translator.hasPair("en", "es"));
  auto translated = translator.translate("He was not a young man.", "en", "es");
  ASSERT_TRUE(std::holds_alternative<std::string>(translated)) << std::get<TranslationError>(translated).description;
  const auto& text = std::get<std::string>(translated);
  EXPECT_NE(text.find("joven"), std::string::npos) << text;
  EXPECT_EQ(text.find('*'), std::string::npos) << text;  // -u: no unknown-word marks
}

TEST(ServerApertiumTranslatorTest, MissingPairIsNamed) {
  ApertiumTranslator translator;
  EXPECT_FALSE(translator.hasPair("en", "ja"));
  auto translated = translator.translate("hello", "en", "ja");
  ASSERT_TRUE(std::holds_alternative<TranslationError>(translated));
  EXPECT_EQ(std::get<TranslationError>(translated).description,
            "no translation pair for English (en) to Japanese (ja) is installed");
}

TEST(ServerApertiumTranslatorTest, ModesDirectoryDecidesWhatIsInstalled) {
  ApertiumTranslator translator("/nonexistent");
  EXPECT_FALSE(translator.hasPair("en", "es"));
}

}  // namespace
}  // namespace pellum::server
