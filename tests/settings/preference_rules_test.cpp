#include "settings/preference_rules.h"

#include <gtest/gtest.h>

namespace pellum::preference_rules {
namespace {

TEST(PreferenceRules, OnlyExactRawIsRaw) {
  EXPECT_EQ(mode(std::string("raw")), TranscriptionMode::raw);
  EXPECT_EQ(mode(std::string("RAW")), TranscriptionMode::clean);
  EXPECT_EQ(mode(std::string("verbatim")), TranscriptionMode::clean);
  EXPECT_EQ(mode(std::nullopt), TranscriptionMode::clean);
}

TEST(PreferenceRules, SoundsOffOnlyForExactOff) {
  EXPECT_TRUE(soundsOff(std::string("off")));
  EXPECT_FALSE(soundsOff(std::string("Off")));
  EXPECT_FALSE(soundsOff(std::string("on")));
  EXPECT_FALSE(soundsOff(std::nullopt));
}

TEST(PreferenceRules, CodeSwitchingOnlyForExactValue) {
  EXPECT_TRUE(isCodeSwitching(std::string("codeSwitching")));
  EXPECT_FALSE(isCodeSwitching(std::string("CodeSwitching")));
  EXPECT_FALSE(isCodeSwitching(std::string("keyboard")));
  EXPECT_FALSE(isCodeSwitching(std::nullopt));
}

TEST(PreferenceRules, EmptyTranslationTargetMeansNone) {
  EXPECT_EQ(translationTarget(std::string("")), std::nullopt);
  EXPECT_EQ(translationTarget(std::nullopt), std::nullopt);
  EXPECT_EQ(translationTarget(std::string("de")), "de");
}

TEST(PreferenceRules, AutoDeviceReadsLikeAMissingKey) {
  EXPECT_EQ(selectedInputDeviceUID(std::string("__auto__")), std::nullopt);
  EXPECT_EQ(selectedInputDeviceUID(std::nullopt), std::nullopt);
  EXPECT_EQ(selectedInputDeviceUID(std::string("alsa_input.usb-mic")), "alsa_input.usb-mic");
}

TEST(PreferenceRules, EmptyDictationKeyIsTheAutomaticKey) {
  EXPECT_EQ(dictationKey(std::nullopt), std::nullopt);
  EXPECT_EQ(dictationKey(std::string()), std::nullopt);
  EXPECT_EQ(dictationKey(std::string("F13")), "F13");
}

TEST(PreferenceRules, HoldOrTapOnlyForExactValue) {
  EXPECT_TRUE(holdOrTap(std::string("holdOrTap")));
  EXPECT_FALSE(holdOrTap(std::string("hold")));
  EXPECT_FALSE(holdOrTap(std::string("HoldOrTap")));
  EXPECT_FALSE(holdOrTap(std::nullopt));
}

TEST(PreferenceRules, HistoryIsKeptUnlessOffAndRecordingsOnlyWhenOn) {
  EXPECT_TRUE(keepHistory(std::nullopt));
  EXPECT_TRUE(keepHistory(std::string("on")));
  EXPECT_TRUE(keepHistory(std::string("Off")));
  EXPECT_FALSE(keepHistory(std::string("off")));
  EXPECT_FALSE(keepRecordings(std::nullopt));
  EXPECT_FALSE(keepRecordings(std::string("On")));
  EXPECT_TRUE(keepRecordings(std::string("on")));
}

TEST(PreferenceRules, EmptyStoredListMeansComputeTheDefault) {
  EXPECT_EQ(storedCodeSwitchingLanguages(std::vector<std::string>{}), std::nullopt);
  EXPECT_EQ(storedCodeSwitchingLanguages(std::nullopt), std::nullopt);
  EXPECT_EQ(storedCodeSwitchingLanguages(std::vector<std::string>{"fr"}), (std::vector<std::string>{"fr"}));
}

}  // namespace
}  // namespace pellum::preference_rules
