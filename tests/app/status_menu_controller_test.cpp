// The tray menu's controller on its own, without the dictation half: a
// recording icon, a key the test drives, and the notices it hands to its
// callback.
#include "app/status_menu_controller.h"

#include <gtest/gtest.h>

#include <QTemporaryDir>

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

}  // namespace
}  // namespace pellum
