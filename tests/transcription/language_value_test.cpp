#include "transcription/language_value.h"

#include <gtest/gtest.h>

#include "transcription/iso639.h"
#include "transcription/keyboard_layout_languages.h"

namespace pellum {
namespace {

LanguageInputs inputs(std::optional<std::string> mode, std::optional<std::vector<std::string>> list,
                      std::vector<std::string> keyboardTags = {"en-US"}, std::string current = "en") {
  LanguageInputs in;
  in.languageMode = std::move(mode);
  in.codeSwitchingLanguages = std::move(list);
  in.keyboardInputLanguages = [keyboardTags] { return distinctPrimarySubtags(keyboardTags); };
  in.currentKeyboardLanguage = [current] { return current; };
  return in;
}

TEST(RequestLanguage, CodeSwitchingJoinsTheStoredList) {
  EXPECT_EQ(requestLanguageValue(inputs("codeSwitching", std::vector<std::string>{"fr", "de"})), "fr,de");
}

TEST(RequestLanguage, CodeSwitchingWithEmptyListUsesKeyboardLayouts) {
  EXPECT_EQ(
      requestLanguageValue(inputs("codeSwitching", std::vector<std::string>{}, {"en-US", "en-GB", "fr-FR"})),
      "en,fr");
}

TEST(RequestLanguage, CodeSwitchingWithMissingListUsesKeyboardLayouts) {
  EXPECT_EQ(requestLanguageValue(inputs("codeSwitching", std::nullopt, {"de-DE"})), "de");
}

TEST(RequestLanguage, CodeSwitchingWithNothingAnywhereIsEnglish) {
  auto in = inputs("codeSwitching", std::nullopt);
  in.keyboardInputLanguages = [] { return std::vector<std::string>{}; };
  EXPECT_EQ(requestLanguageValue(in), "en");
}

TEST(RequestLanguage, WrongCaseModeCountsAsKeyboard) {
  EXPECT_EQ(requestLanguageValue(inputs("CodeSwitching", std::vector<std::string>{"fr"}, {}, "pt")), "pt");
}

TEST(RequestLanguage, MissingModeIsKeyboard) {
  EXPECT_EQ(requestLanguageValue(inputs(std::nullopt, std::vector<std::string>{"fr"}, {}, "de")), "de");
}

TEST(RequestLanguage, NeverValidatedOrEncoded) {
  EXPECT_EQ(requestLanguageValue(inputs("codeSwitching", std::vector<std::string>{"x y", "zz"})), "x y,zz");
}

TEST(PrimarySubtag, TakesTheFirstNonEmptyPiece) {
  EXPECT_EQ(primaryLanguageSubtag("en-US"), "en");
  EXPECT_EQ(primaryLanguageSubtag("zh-Hans"), "zh");
  EXPECT_EQ(primaryLanguageSubtag("pt-BR"), "pt");
  EXPECT_EQ(primaryLanguageSubtag("-fr"), "fr");
  EXPECT_EQ(primaryLanguageSubtag("--"), "");
  EXPECT_EQ(primaryLanguageSubtag(""), "");
}

TEST(PrimarySubtag, CurrentSourceWithoutLanguageIsEnglish) {
  EXPECT_EQ(primarySubtagOrEnglish(""), "en");
  EXPECT_EQ(primarySubtagOrEnglish("pt-BR"), "pt");
}

TEST(KeyboardLanguages, DistinctInOrderOfFirstAppearance) {
  EXPECT_EQ(distinctPrimarySubtags({"en-US", "de-DE", "en-GB", "", "-"}),
            (std::vector<std::string>{"en", "de"}));
  EXPECT_EQ(distinctPrimarySubtags({}), (std::vector<std::string>{"en"}));
}

TEST(Iso639, MapsThreeLetterCodesToTableCodes) {
  EXPECT_EQ(tableCodeForIso639("eng"), "en");
  EXPECT_EQ(tableCodeForIso639("deu"), "de");
  EXPECT_EQ(tableCodeForIso639("ger"), "de");
  EXPECT_EQ(tableCodeForIso639("jav"), "jw");
  EXPECT_EQ(tableCodeForIso639("heb"), "he");
  EXPECT_EQ(tableCodeForIso639("nob"), "no");
  EXPECT_EQ(tableCodeForIso639("nno"), "nn");
  EXPECT_EQ(tableCodeForIso639("haw"), "haw");
  EXPECT_EQ(tableCodeForIso639("fr"), "fr");
}

TEST(Iso639, UnknownCodesMapToNothing) {
  EXPECT_EQ(tableCodeForIso639("ckb"), std::nullopt);
  EXPECT_EQ(tableCodeForIso639("xx"), std::nullopt);
  EXPECT_EQ(tableCodeForIso639(""), std::nullopt);
}

TEST(KeyboardLayouts, LanguagesOfUsAndGermanLayouts) {
  std::vector<KeyboardLayout> layouts{{"us", "", {"eng"}}, {"de", "nodeadkeys", {"deu"}}};
  EXPECT_EQ(layoutLanguages(layouts), (std::vector<std::string>{"en", "de"}));
  EXPECT_EQ(activeLayoutLanguage(layouts, 1), "de");
}

TEST(KeyboardLayouts, LayoutWithoutKnownLanguageIsSkipped) {
  std::vector<KeyboardLayout> layouts{{"iq", "", {"ckb"}}, {"fr", "", {"fra"}}};
  EXPECT_EQ(layoutLanguages(layouts), (std::vector<std::string>{"fr"}));
  EXPECT_EQ(activeLayoutLanguage(layouts, 0), "en");
}

TEST(KeyboardLayouts, FirstKnownCodeOfALayoutWins) {
  EXPECT_EQ(layoutLanguage({"ch", "", {"xxx", "deu", "fra"}}), "de");
}

TEST(KeyboardLayouts, OutOfRangeActiveGroupIsEnglish) {
  EXPECT_EQ(activeLayoutLanguage({{"de", "", {"deu"}}}, 3), "en");
  EXPECT_EQ(activeLayoutLanguage({}, 0), "en");
  EXPECT_EQ(activeLayoutLanguage({{"de", "", {"deu"}}}, -1), "en");
}

TEST(KeyboardLayouts, SplitsXkbListsKeepingEmptyFields) {
  EXPECT_EQ(splitXkbList("us,de"), (std::vector<std::string>{"us", "de"}));
  EXPECT_EQ(splitXkbList(",nodeadkeys"), (std::vector<std::string>{"", "nodeadkeys"}));
  EXPECT_EQ(splitXkbList(""), (std::vector<std::string>{""}));
}

}  // namespace
}  // namespace pellum
