#include "apertium_translator.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include "apertium_modes.h"
#include "apertium_pipeline.h"
#include "recorded_speech.h"
#include "temp_dir.h"

namespace pellum::server {
namespace {

TEST(ServerApertiumModesTest, CandidateNames) {
  EXPECT_EQ(apertiumModeNames("en", "es"),
            (std::vector<std::string>{"eng-spa", "en-es", "eng-es", "en-spa"}));
  EXPECT_EQ(apertiumModeNames("en", "gl").front(), "eng-glg");
  EXPECT_EQ(apertiumModeNames("xx", "yy"), (std::vector<std::string>{"xx-yy"}));
}

TEST(ServerApertiumModesTest, PipelineFlushesAtEveryNul) {
  EXPECT_EQ(
      nullFlushPipeline(
          "lt-proc 'a.bin' | apertium-tagger -g $2 'p' | apertium-pretransfer| lt-proc $1 'g.bin'\n"),
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
  ASSERT_TRUE(std::holds_alternative<std::string>(translated))
      << std::get<TranslationError>(translated).description;
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

// A scripted stand-in for `apertium` that never answers and keeps a
// grandchild of its own, and an installed pair with no usable pipeline, so
// the one-shot call is the one made.
TEST(ServerApertiumTranslatorTest, ScriptedOneShotThatHangsIsKilledAtItsDeadline) {
  test::TempDir dir;
  std::ofstream(dir.path() + "/eng-spa.mode") << "";
  const std::string script = dir.path() + "/stuck-apertium";
  const std::string pidFile = dir.path() + "/stage.pid";
  std::ofstream(script) << "#!/bin/sh\nsleep 60 &\necho $! > " << pidFile << "\nwait\n";
  std::filesystem::permissions(script, std::filesystem::perms::owner_all);

  ApertiumTranslator translator(dir.path(), script, std::chrono::milliseconds(300));
  auto translated = translator.translate("hello", "en", "es");
  ASSERT_TRUE(std::holds_alternative<TranslationError>(translated));
  EXPECT_EQ(std::get<TranslationError>(translated).description,
            "translation failed: apertium eng-spa took over 300 ms");

  // The stage the script started went with it (gone, or a zombie until
  // init reaps it).
  const std::string stage = test::readFile(pidFile);
  ASSERT_FALSE(stage.empty());
  const std::string stat = "/proc/" + std::to_string(std::stoi(stage)) + "/stat";
  bool gone = false;
  for (int attempt = 0; attempt < 500 && !gone; ++attempt) {
    const std::string status = test::readFile(stat);
    const auto close = status.rfind(')');
    gone = status.empty() || (close != std::string::npos && status.substr(close + 2, 1) == "Z");
    if (!gone) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  EXPECT_TRUE(gone) << test::readFile(stat);
}

TEST(ServerApertiumTranslatorTest, ModesDirectoryDecidesWhatIsInstalled) {
  ApertiumTranslator translator("/nonexistent");
  EXPECT_FALSE(translator.hasPair("en", "es"));
}

}  // namespace
}  // namespace pellum::server
