// The tray menu's controller on its own, without the dictation half: a
// recording icon, a key the test drives, and the notices it hands to its
// callback.
#include "app/status_menu_controller.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include "app/login_item.h"
#include "history/dictation_history.h"
#include "settings/preferences.h"
#include "support/dictation_fakes.h"
#include "support/event_loop.h"
#include "support/fresh_preferences.h"

namespace pellum {
namespace {

using namespace std::chrono_literals;
using test::spin;
using test::waitUntil;
using Strings = std::vector<std::string>;

const MenuItem& findRow(const std::vector<MenuItem>& menu, const std::string& title) {
  static const MenuItem none;
  for (const auto& row : menu) {
    if (row.title == title) return row;
  }
  ADD_FAILURE() << "no row " << title;
  return none;
}

class StatusMenuControllerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    test::useFreshPreferences(config_.path());
    qunsetenv("DISPLAY");
    StatusMenuParts parts;
    parts.statusIcon = &icon_;
    parts.hotkeyManager = &hotkey_;
    parts.isSignedIn = [] { return true; };
    parts.tell = [this](const std::string& message) { notices_.push_back(message); };
    menu_ = std::make_unique<StatusMenuController>(std::move(parts));
  }

  QTemporaryDir config_;
  test::RecordingStatusIcon icon_;
  test::ManualHotkeyManager hotkey_;
  Strings notices_;
  std::unique_ptr<StatusMenuController> menu_;
};

TEST_F(StatusMenuControllerTest, BuildsNothingUntilAskedThenTheWholeMenu) {
  EXPECT_EQ(icon_.menuBuilds, 0);
  EXPECT_NE(menu_->languagePicker(), nullptr);  // made when none is given
  menu_->buildMenu();
  EXPECT_EQ(icon_.menuBuilds, 1);
  ASSERT_FALSE(icon_.menu.empty());
  EXPECT_EQ(icon_.menu.front().title, "Hold Right Ctrl to dictate");
  EXPECT_EQ(icon_.menu.back().title, "Quit Pellum");
}

TEST_F(StatusMenuControllerTest, AChoiceWritesItsPreferenceAndRebuilds) {
  menu_->performMenuAction(MenuAction::selectSoundsOff, "");
  EXPECT_TRUE(Preferences::soundsOff());
  EXPECT_EQ(icon_.menuBuilds, 1);
}

TEST_F(StatusMenuControllerTest, AChosenKeyIsWatchedStoredAndLogged) {
  testing::internal::CaptureStdout();
  menu_->performMenuAction(MenuAction::selectDictationKey, "F13");
  // The fake keeps reporting Right Ctrl as the key it watches.
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "HotkeyManager: hold Right Ctrl to dictate\n");
  EXPECT_EQ(hotkey_.chosen, (Strings{"F13"}));
  EXPECT_EQ(Preferences::dictationKey(), "F13");
  EXPECT_TRUE(notices_.empty());
}

TEST_F(StatusMenuControllerTest, ARefusedKeyIsToldThroughTheCallbackAndNotStored) {
  hotkey_.refuse = DictationKeyError{DictationKeyError::Kind::heldByAnotherProgram, "Menu"};
  menu_->performMenuAction(MenuAction::selectDictationKey, "Menu");
  EXPECT_EQ(notices_, (Strings{"Another program already uses Menu; Right Ctrl stays the dictation key"}));
  EXPECT_EQ(Preferences::dictationKey(), std::nullopt);
  EXPECT_EQ(icon_.menuBuilds, 0);
}

TEST_F(StatusMenuControllerTest, StartAtLoginWritesAndRemovesTheAutostartEntry) {
  const QString entry = config_.path() + QStringLiteral("/autostart/pellum.desktop");
  EXPECT_EQ(LoginItem::entryPath(), entry.toStdString());
  menu_->buildMenu();
  EXPECT_FALSE(findRow(icon_.menu, "Start at Login").checked);

  menu_->performMenuAction(MenuAction::toggleStartAtLogin, "");
  QFile written(entry);
  ASSERT_TRUE(written.open(QIODevice::ReadOnly));
  const QString text = QString::fromUtf8(written.readAll());
  EXPECT_TRUE(text.contains(QStringLiteral("\nExec=") + QCoreApplication::applicationFilePath() + '\n'))
      << text.toStdString();
  EXPECT_TRUE(LoginItem::isEnabled());
  EXPECT_TRUE(findRow(icon_.menu, "Start at Login").checked);

  menu_->performMenuAction(MenuAction::toggleStartAtLogin, "");
  EXPECT_FALSE(QFile::exists(entry));
  EXPECT_FALSE(findRow(icon_.menu, "Start at Login").checked);
  EXPECT_TRUE(notices_.empty());
}

TEST_F(StatusMenuControllerTest, AnEntryTheDesktopSwitchedOffIsNotTicked) {
  ASSERT_TRUE(QDir().mkpath(config_.path() + QStringLiteral("/autostart")));
  QFile entry(config_.path() + QStringLiteral("/autostart/pellum.desktop"));
  ASSERT_TRUE(entry.open(QIODevice::WriteOnly));
  entry.write("[Desktop Entry]\nType=Application\nExec=pellum\nHidden=true\n");
  entry.close();
  menu_->buildMenu();
  EXPECT_FALSE(findRow(icon_.menu, "Start at Login").checked);
  menu_->performMenuAction(MenuAction::toggleStartAtLogin, "");  // ticking it writes a working one
  EXPECT_TRUE(LoginItem::isEnabled());
}

TEST_F(StatusMenuControllerTest, AnAutostartFolderThatCannotBeMadeIsToldAndNothingIsTicked) {
  QFile blocker(config_.path() + QStringLiteral("/autostart"));  // a file where the folder goes
  ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
  blocker.close();
  menu_->performMenuAction(MenuAction::toggleStartAtLogin, "");
  ASSERT_EQ(notices_.size(), 1u);
  EXPECT_TRUE(notices_[0].starts_with("Start at Login could not be changed: ")) << notices_[0];
  EXPECT_FALSE(LoginItem::isEnabled());
}

TEST_F(StatusMenuControllerTest, CheckForUpdatesOnlyWithAnUpdater) {
  menu_->buildMenu();
  for (const auto& row : icon_.menu) EXPECT_NE(row.title, "Check for Updates\u2026");
  int checks = 0;
  StatusMenuParts parts;
  parts.statusIcon = &icon_;
  parts.isSignedIn = [] { return true; };
  parts.checkForUpdates = [&checks] { ++checks; };
  StatusMenuController withUpdater(std::move(parts));
  withUpdater.buildMenu();
  EXPECT_EQ(findRow(icon_.menu, "Check for Updates\u2026").action, MenuAction::checkForUpdates);
  withUpdater.performMenuAction(MenuAction::checkForUpdates, "");
  EXPECT_EQ(checks, 1);
}

TEST_F(StatusMenuControllerTest, ARowChosenInTheMenuIsCarriedOutFromTheEventLoop) {
  menu_->buildMenu();
  icon_.menuHandler(MenuAction::selectRawMode, "");
  EXPECT_EQ(Preferences::currentMode(), TranscriptionMode::clean);
  ASSERT_TRUE(waitUntil([] { return Preferences::currentMode() == TranscriptionMode::raw; }, 1s));
}

TEST_F(StatusMenuControllerTest, ARowChosenAsTheControllerGoesIsDropped) {
  menu_->buildMenu();
  icon_.menuHandler(MenuAction::selectRawMode, "");  // queued
  menu_.reset();
  icon_.menuHandler(MenuAction::selectSoundsOff, "");  // after it went
  spin(50ms);
  EXPECT_EQ(Preferences::currentMode(), TranscriptionMode::clean);
  EXPECT_FALSE(Preferences::soundsOff());
}

// The recent dictations' rows over a real store in a temporary folder.
class StatusMenuHistoryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    test::useFreshPreferences(config_.path());
    qunsetenv("DISPLAY");
    auto opened = DictationHistory::open(config_.filePath(QStringLiteral("history.sqlite3")).toStdString());
    ASSERT_TRUE(std::holds_alternative<std::unique_ptr<DictationHistory>>(opened));
    history_ = std::move(std::get<std::unique_ptr<DictationHistory>>(opened));
    StatusMenuParts parts;
    parts.statusIcon = &icon_;
    parts.hotkeyManager = &hotkey_;
    parts.isSignedIn = [] { return true; };
    parts.tell = [this](const std::string& message) { notices_.push_back(message); };
    parts.history = history_;
    parts.pasteText = [this](const std::string& text) { pasted_.push_back(text); };
    parts.retryRecording = [this](std::int64_t id) { retried_.push_back(id); };
    menu_ = std::make_unique<StatusMenuController>(std::move(parts));
  }

  std::int64_t add(DictationOutcome outcome, const std::string& text, const std::string& recording = {}) {
    DictationEntry entry;
    entry.startedAt = ++clock_;
    entry.outcome = outcome;
    entry.text = text;
    entry.failure = outcome == DictationOutcome::failed ? "Streaming failed: server gone" : "";
    entry.recording = recording;
    return std::get<std::int64_t>(history_->add(entry));
  }

  const MenuItem* row(const std::vector<MenuItem>& menu, const std::string& title) {
    for (const auto& item : menu) {
      if (item.title == title) return &item;
    }
    return nullptr;
  }

  QTemporaryDir config_;
  test::RecordingStatusIcon icon_;
  test::ManualHotkeyManager hotkey_;
  Strings notices_;
  Strings pasted_;
  std::vector<std::int64_t> retried_;
  std::shared_ptr<DictationHistory> history_;
  std::int64_t clock_ = QDateTime::currentMSecsSinceEpoch() - 60000;
  std::unique_ptr<StatusMenuController> menu_;
};

TEST_F(StatusMenuHistoryTest, PasteLastTranscriptPastesTheNewestText) {
  add(DictationOutcome::inserted, "older words");
  add(DictationOutcome::inserted, "newest words");
  add(DictationOutcome::cancelled, "");
  menu_->buildMenu();
  ASSERT_NE(row(icon_.menu, "Paste Last Transcript"), nullptr);
  EXPECT_EQ(row(icon_.menu, "Retry Last Recording"), nullptr);
  menu_->performMenuAction(MenuAction::pasteLastTranscript, "");
  EXPECT_EQ(pasted_, (Strings{"newest words"}));
  const auto* recent = row(icon_.menu, "Recent");
  ASSERT_NE(recent, nullptr);
  EXPECT_EQ(recent->children[0].title, "newest words");
  EXPECT_EQ(recent->children[1].title, "older words");
}

TEST_F(StatusMenuHistoryTest, AFailedLastDictationWithItsRecordingCanBeRetried) {
  add(DictationOutcome::inserted, "earlier words");
  const auto failed = add(DictationOutcome::failed, "", "RIFF....WAVE");
  menu_->buildMenu();
  ASSERT_NE(row(icon_.menu, "Retry Last Recording"), nullptr);
  menu_->performMenuAction(MenuAction::retryLastRecording, "");
  EXPECT_EQ(retried_, (std::vector<std::int64_t>{failed}));
}

TEST_F(StatusMenuHistoryTest, AFailedRecordingStaysRetryableAfterALaterDictationWorked) {
  const auto failed = add(DictationOutcome::failed, "", "RIFF....WAVE");
  add(DictationOutcome::inserted, "the server is back");
  menu_->performMenuAction(MenuAction::retryLastRecording, "");
  EXPECT_EQ(retried_, (std::vector<std::int64_t>{failed}));
  add(DictationOutcome::failed, "");  // a failure with nothing to retry
  menu_->performMenuAction(MenuAction::retryLastRecording, "");
  EXPECT_EQ(retried_, (std::vector<std::int64_t>{failed, failed}));
}

TEST_F(StatusMenuHistoryTest, ClearHistoryEmptiesTheStoreAndTheRows) {
  add(DictationOutcome::inserted, "some words");
  menu_->performMenuAction(MenuAction::clearHistory, "");
  EXPECT_TRUE(history_->recent(10).empty());
  EXPECT_EQ(row(icon_.menu, "Paste Last Transcript"), nullptr);
  EXPECT_EQ(row(icon_.menu, "Recent")->children.front().title, "No Recent Dictations");
}

TEST_F(StatusMenuHistoryTest, KeepHistoryAndKeepRecordingsToggleTheirPreferences) {
  EXPECT_TRUE(Preferences::keepHistory());
  menu_->performMenuAction(MenuAction::toggleKeepHistory, "");
  EXPECT_FALSE(Preferences::keepHistory());
  EXPECT_FALSE(row(row(icon_.menu, "Recent")->children, "Keep History")->checked);
  EXPECT_FALSE(Preferences::keepRecordings());
  menu_->performMenuAction(MenuAction::toggleKeepRecordings, "");
  EXPECT_TRUE(Preferences::keepRecordings());
  // From now on the store keeps a successful dictation's recording too.
  const auto id = add(DictationOutcome::inserted, "kept with its sound", "RIFF....WAVE");
  EXPECT_TRUE(history_->find(id)->hasRecording);
}

}  // namespace
}  // namespace pellum
