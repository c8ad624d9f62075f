// Preferences read and written through the real per-user settings file, in
// a private configuration directory; the keyboard default comes from a
// private X server.
#include "settings/preferences.h"

#include <gtest/gtest.h>

#include <QSettings>
#include <QTemporaryDir>
#include <QThread>
#include <future>

#include "support/event_loop.h"
#include "support/xvfb_display.h"

namespace pellum {
namespace {

class PreferencesTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    configHome_ = new QTemporaryDir();
    // Read by the settings store when it is first used, which is after this.
    qputenv("XDG_CONFIG_HOME", configHome_->path().toUtf8());
    display_ = new test::XvfbDisplay();
  }
  static void TearDownTestSuite() {
    delete display_;
    delete configHome_;
  }
  void SetUp() override {
    ASSERT_TRUE(display_->isRunning());
    store().clear();
    setLayouts(QStringLiteral("us"));
  }

  static QSettings store() {
    return QSettings(QSettings::NativeFormat, QSettings::UserScope, QStringLiteral("pellum"),
                     QStringLiteral("pellum"));
  }
  static void setLayouts(const QString& layouts) {
    ASSERT_EQ(display_->run(QStringLiteral("setxkbmap"), {QStringLiteral("-layout"), layouts}), 0);
  }

  static QTemporaryDir* configHome_;
  static test::XvfbDisplay* display_;
};

QTemporaryDir* PreferencesTest::configHome_ = nullptr;
test::XvfbDisplay* PreferencesTest::display_ = nullptr;

TEST_F(PreferencesTest, LivesInTheUsersConfigDirectory) {
  Preferences::setMode(TranscriptionMode::raw);
  EXPECT_EQ(store().fileName(), configHome_->filePath(QStringLiteral("pellum/pellum.conf")));
  EXPECT_EQ(store().value(QStringLiteral("transcriptionMode")).toString(), QStringLiteral("raw"));
}

TEST_F(PreferencesTest, RawInUpperCaseReadsAsClean) {
  store().setValue(QStringLiteral("transcriptionMode"), QStringLiteral("RAW"));
  EXPECT_EQ(Preferences::currentMode(), TranscriptionMode::clean);
  store().setValue(QStringLiteral("transcriptionMode"), QStringLiteral("raw"));
  EXPECT_EQ(Preferences::currentMode(), TranscriptionMode::raw);
}

TEST_F(PreferencesTest, AutoDeviceReadsLikeAMissingKey) {
  EXPECT_EQ(Preferences::selectedInputDeviceUID(), std::nullopt);
  store().setValue(QStringLiteral("audioInputDeviceUID"), QStringLiteral("__auto__"));
  EXPECT_EQ(Preferences::selectedInputDeviceUID(), std::nullopt);
  Preferences::setSelectedInputDeviceUID(std::string("alsa_input.usb"));
  EXPECT_EQ(Preferences::selectedInputDeviceUID(), "alsa_input.usb");
}

TEST_F(PreferencesTest, ChoosingAutomaticWritesAutoAndKeepsTheKey) {
  Preferences::setSelectedInputDeviceUID(std::nullopt);
  EXPECT_EQ(store().value(QStringLiteral("audioInputDeviceUID")).toString(), QStringLiteral("__auto__"));
}

TEST_F(PreferencesTest, EmptyTranslationTargetMeansNone) {
  store().setValue(QStringLiteral("translateTo"), QString());
  EXPECT_EQ(Preferences::translationTarget(), std::nullopt);
  Preferences::setTranslationTarget(std::string("de"));
  EXPECT_EQ(Preferences::translationTarget(), "de");
  Preferences::setTranslationTarget(std::nullopt);
  EXPECT_FALSE(store().contains(QStringLiteral("translateTo")));
}

TEST_F(PreferencesTest, SoundsAndLanguageModeRoundTrip) {
  EXPECT_FALSE(Preferences::soundsOff());
  Preferences::setSoundsOff(true);
  EXPECT_TRUE(Preferences::soundsOff());
  EXPECT_EQ(store().value(QStringLiteral("soundsMode")).toString(), QStringLiteral("off"));
  EXPECT_FALSE(Preferences::isCodeSwitching());
  Preferences::setCodeSwitching(true);
  EXPECT_TRUE(Preferences::isCodeSwitching());
  EXPECT_EQ(store().value(QStringLiteral("languageMode")).toString(), QStringLiteral("codeSwitching"));
}

TEST_F(PreferencesTest, KeepHistoryAndKeepRecordingsRoundTrip) {
  EXPECT_TRUE(Preferences::keepHistory());
  EXPECT_FALSE(Preferences::keepRecordings());
  Preferences::setKeepHistory(false);
  Preferences::setKeepRecordings(true);
  EXPECT_FALSE(Preferences::keepHistory());
  EXPECT_TRUE(Preferences::keepRecordings());
  EXPECT_EQ(store().value(QStringLiteral("keepHistory")).toString(), QStringLiteral("off"));
  EXPECT_EQ(store().value(QStringLiteral("keepRecordings")).toString(), QStringLiteral("on"));
}

TEST_F(PreferencesTest, MissingLanguageListDefaultsToTheKeyboardLayoutsWithoutWritingThem) {
  setLayouts(QStringLiteral("us,de"));
  EXPECT_EQ(Preferences::codeSwitchingLanguages(), (std::vector<std::string>{"en", "de"}));
  EXPECT_FALSE(store().contains(QStringLiteral("codeSwitchingLanguages")));
}

TEST_F(PreferencesTest, EmptyStoredLanguageListAlsoDefaultsToTheKeyboardLayouts) {
  setLayouts(QStringLiteral("fr"));
  Preferences::setCodeSwitchingLanguages({});
  EXPECT_EQ(Preferences::codeSwitchingLanguages(), (std::vector<std::string>{"fr"}));
  Preferences::setCodeSwitching(true);
  EXPECT_EQ(requestLanguage(), "fr");
}

TEST_F(PreferencesTest, StoredLanguageListWins) {
  Preferences::setCodeSwitchingLanguages({"fr", "de"});
  EXPECT_EQ(Preferences::codeSwitchingLanguages(), (std::vector<std::string>{"fr", "de"}));
  Preferences::setCodeSwitching(true);
  EXPECT_EQ(requestLanguage(), "fr,de");
}

TEST_F(PreferencesTest, DictationKeyAndItsModeAreStoredUnderTheirKeys) {
  EXPECT_EQ(Preferences::dictationKey(), std::nullopt);
  EXPECT_FALSE(Preferences::holdOrTap());
  Preferences::setDictationKey("Scroll_Lock");
  Preferences::setHoldOrTap(true);
  EXPECT_EQ(store().value(QStringLiteral("dictationKey")).toString(), QStringLiteral("Scroll_Lock"));
  EXPECT_EQ(store().value(QStringLiteral("dictationKeyMode")).toString(), QStringLiteral("holdOrTap"));
  EXPECT_EQ(Preferences::dictationKey(), "Scroll_Lock");
  EXPECT_TRUE(Preferences::holdOrTap());
  Preferences::setDictationKey(std::nullopt);
  Preferences::setHoldOrTap(false);
  EXPECT_FALSE(store().contains(QStringLiteral("dictationKey")));
  EXPECT_EQ(store().value(QStringLiteral("dictationKeyMode")).toString(), QStringLiteral("hold"));
}

TEST_F(PreferencesTest, RequestLanguageFromAnotherThreadHopsToTheMainThread) {
  setLayouts(QStringLiteral("br,us"));
  auto language = std::async(std::launch::async, [] { return requestLanguage(); });
  ASSERT_TRUE(test::waitUntil(
      [&] { return language.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
  EXPECT_EQ(language.get(), "pt");
}

}  // namespace
}  // namespace pellum
