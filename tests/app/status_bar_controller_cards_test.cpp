// When the controller shows the first-run cards: the sign-in prompt at
// start-up while signed out, the key hint after each sign-in, nothing after
// a sign-out. The cards are real windows on a private X server.
#include <gtest/gtest.h>

#include <QLabel>
#include <QPushButton>
#include <QSettings>
#include <QTemporaryDir>

#include "app/status_bar_controller.h"
#include "support/dictation_fakes.h"
#include "support/event_loop.h"
#include "support/fresh_preferences.h"
#include "support/widget_texts.h"

namespace pellum {
namespace {

using namespace std::chrono_literals;
using test::spin;
using test::waitUntil;

class StatusBarControllerCardsTest : public ::testing::Test {
 protected:
  void SetUp() override { test::useFreshPreferences(config_.path()); }

  void makeController() {
    DictationParts parts;
    parts.hotkeyManager = std::make_unique<test::ManualHotkeyManager>();
    auto icon = std::make_unique<test::RecordingStatusIcon>();
    icon_ = icon.get();
    parts.statusIcon = std::move(icon);
    auto popover = std::make_unique<OnboardingPopover>();
    popover_ = popover.get();
    parts.onboardingPopover = std::move(popover);
    parts.isSignedIn = [this] { return signedIn_; };
    parts.signIn = [this] { ++signIns_; };
    controller_ = std::make_unique<StatusBarController>(std::move(parts));
  }

  QTemporaryDir config_;
  bool signedIn_ = false;
  int signIns_ = 0;
  test::RecordingStatusIcon* icon_ = nullptr;
  OnboardingPopover* popover_ = nullptr;
  std::unique_ptr<StatusBarController> controller_;
};

TEST_F(StatusBarControllerCardsTest, StartingSignedOutShowsTheSignInPromptWhoseButtonSignsIn) {
  makeController();
  ASSERT_TRUE(waitUntil([&] { return popover_->card() != nullptr; }, 3s));
  EXPECT_TRUE(test::labelTexts(popover_->card()).contains(QStringLiteral("Welcome to Pellum")));
  popover_->signInButton()->click();
  EXPECT_EQ(signIns_, 1);
  EXPECT_EQ(popover_->card(), nullptr);
}

TEST_F(StatusBarControllerCardsTest, StartingSignedInShowsNoCard) {
  signedIn_ = true;
  makeController();
  spin(OnboardingPopover::kShowDelayMs * 2ms);
  EXPECT_EQ(popover_->card(), nullptr);
}

TEST_F(StatusBarControllerCardsTest, ASignInShowsTheKeyHintWithTheKeyAndRebuildsTheMenu) {
  makeController();
  ASSERT_TRUE(waitUntil([&] { return popover_->card() != nullptr; }, 3s));
  EXPECT_EQ(icon_->menu.front().title, "Not signed in");
  signedIn_ = true;
  controller_->handleSignInChange();
  ASSERT_TRUE(waitUntil(
      [&] {
        return popover_->card() &&
               test::labelTexts(popover_->card()).contains(QStringLiteral("You're signed in"));
      },
      3s));
  // KeyCapView has no meta-object of its own, so look by dynamic type.
  QStringList caps;
  for (QWidget* child : popover_->card()->findChildren<QWidget*>()) {
    if (auto* cap = dynamic_cast<KeyCapView*>(child)) caps << cap->label();
  }
  EXPECT_EQ(caps, QStringList{QStringLiteral("ctrl")});
  ASSERT_TRUE(waitUntil([&] { return icon_->menu.front().title == "Hold Right Ctrl to dictate"; }, 2s));
}

TEST_F(StatusBarControllerCardsTest, ASignOutRebuildsTheMenuButShowsNoCard) {
  signedIn_ = true;
  makeController();
  signedIn_ = false;
  controller_->handleSignInChange();
  ASSERT_TRUE(waitUntil([&] { return icon_->menu.front().title == "Not signed in"; }, 2s));
  spin(OnboardingPopover::kShowDelayMs * 2ms);
  EXPECT_EQ(popover_->card(), nullptr);
}

}  // namespace
}  // namespace pellum
