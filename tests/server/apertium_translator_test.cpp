#include "apertium_translator.h"

#include <gtest/gtest.h>

#include "apertium_modes.h"

namespace pellum::server {
namespace {

TEST(ServerApertiumModesTest, CandidateNames) {
  EXPECT_EQ(apertiumModeNames("en", "es"), (std::vector<std::string>{"eng-spa", "en-es", "eng-es", "en-spa"}));
  EXPECT_EQ(apertiumModeNames("en", "gl").front(), "eng-glg");
  EXPECT_EQ(apertiumModeNames("xx", "yy"), (std::vector<std::string>{"xx-yy"}));
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
