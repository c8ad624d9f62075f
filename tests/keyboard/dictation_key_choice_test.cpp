#include "keyboard/dictation_key_choice.h"

#include <gtest/gtest.h>

#include <set>

namespace pellum {
namespace {

using Source = DictationKeyRequest::Source;

std::vector<std::string> names(const std::vector<DictationKey>& keys) {
  std::vector<std::string> out;
  for (const auto& key : keys) out.push_back(key.keysymName);
  return out;
}

TEST(DictationKeyChoice, TheEnvironmentWinsOverThePreferenceWhichWinsOverAutomatic) {
  EXPECT_EQ(requestedDictationKey(std::string("F12"), std::string("Menu")).keysymName, "F12");
  EXPECT_EQ(requestedDictationKey(std::string("F12"), std::string("Menu")).source, Source::environment);
  EXPECT_EQ(requestedDictationKey(std::nullopt, std::string("Menu")).keysymName, "Menu");
  EXPECT_EQ(requestedDictationKey(std::nullopt, std::string("Menu")).source, Source::preference);
  EXPECT_EQ(requestedDictationKey(std::nullopt, std::nullopt).keysymName, "");
  EXPECT_EQ(requestedDictationKey(std::nullopt, std::nullopt).source, Source::automatic);
}

TEST(DictationKeyChoice, EmptyValuesCountAsUnset) {
  EXPECT_EQ(requestedDictationKey(std::string(), std::string("Menu")).source, Source::preference);
  EXPECT_EQ(requestedDictationKey(std::string(), std::string()).source, Source::automatic);
}

TEST(DictationKeyChoice, CandidatesAreTheOfferedKeysThisKeyboardHasInMenuOrder) {
  const std::set<std::string_view> keyboard{"Insert", "Control_R", "Menu", "F13", "a", "Control_L", "Pause"};
  const auto keys = dictationKeyCandidates([&](std::string_view name) { return keyboard.contains(name); });
  EXPECT_EQ(names(keys), (std::vector<std::string>{"Control_R", "Menu", "Pause", "F13", "Insert"}));
  EXPECT_EQ(keys[0].displayName, "Right Ctrl");
}

TEST(DictationKeyChoice, FnComesFirstWhenTheKeyboardHasIt) {
  const auto keys =
      dictationKeyCandidates([](std::string_view name) { return name == "XF86Fn" || name == "Control_R"; });
  EXPECT_EQ(names(keys), (std::vector<std::string>{"XF86Fn", "Control_R"}));
}

TEST(DictationKeyChoice, AltGrIsNeverOfferedRightAltIs) {
  // Where the right Alt key is AltGr (ISO_Level3_Shift) it types accents.
  EXPECT_TRUE(
      dictationKeyCandidates([](std::string_view name) { return name == "ISO_Level3_Shift"; }).empty());
  EXPECT_EQ(names(dictationKeyCandidates([](std::string_view name) { return name == "Alt_R"; })),
            (std::vector<std::string>{"Alt_R"}));
}

TEST(DictationKeyChoice, EveryFunctionKeyFromF13ToF24IsOffered) {
  const auto keys = dictationKeyCandidates([](std::string_view name) { return name.starts_with("F"); });
  EXPECT_EQ(keys.size(), 12u);
  EXPECT_EQ(keys.front().keysymName, "F13");
  EXPECT_EQ(keys.back().keysymName, "F24");
}

TEST(DictationKeyChoice, ErrorsSayWhatHappened) {
  using Kind = DictationKeyError::Kind;
  EXPECT_EQ((DictationKeyError{Kind::heldByAnotherProgram, "Scroll Lock"}).description(),
            "Another program already uses Scroll Lock");
  EXPECT_EQ((DictationKeyError{Kind::notOnKeyboard, "F13"}).description(), "This keyboard has no F13 key");
  EXPECT_EQ((DictationKeyError{Kind::unknownName, "Nope"}).description(), "No key is named \"Nope\"");
}

}  // namespace
}  // namespace pellum
