// The first-run cards as real windows on a private X server.
#include "ui/onboarding_popover.h"

#include <gtest/gtest.h>

#include <QLabel>
#include <QWindow>

#include "support/event_loop.h"
#include "support/probe_process.h"
#include "support/widget_texts.h"
#include "support/xtest_keyboard.h"
#include "ui/dictation_key_recorder.h"

namespace pellum {
namespace {

using namespace std::chrono_literals;
using test::spin;
using test::waitUntil;

// Until the card is on the screen, mapped by the X server.
bool waitUntilShown(const OnboardingPopover& popover) {
  return waitUntil(
      [&] {
        return popover.card() && popover.card()->isVisible() && popover.card()->windowHandle() &&
               popover.card()->windowHandle()->isExposed();
      },
      2s);
}

// Until the card has the keyboard focus, as after a click on it.
bool waitUntilFocused(const OnboardingPopover& popover) {
  return waitUntil([&] { return popover.card() && popover.card()->isActiveWindow(); }, 2s);
}

// A point on the screen outside every card, over the probe's window when
// one is up (the probe sits at the top-left corner, 600x60).
constexpr int kOutsideX = 100;
constexpr int kOutsideY = 30;

TEST(OnboardingPopover, SignInPromptShowsAfterTheDelayAsAFloatingCard) {
  OnboardingPopover popover;
  popover.showSignInPrompt(QRect(), {});
  EXPECT_EQ(popover.card(), nullptr);  // not yet: the menu settles first
  ASSERT_TRUE(waitUntil([&] { return popover.card() != nullptr; }, 2s));
  QWidget* card = popover.card();
  EXPECT_TRUE(popover.isFloating());
  EXPECT_EQ(card->size(), QSize(300, 166));
  EXPECT_EQ(card->y(), 20);  // no top band on this screen
  EXPECT_EQ(test::labelTexts(card),
            (QStringList{QStringLiteral("Welcome to Pellum"),
                         QStringLiteral("Sign in to start dictating anywhere on your computer.")}));
  EXPECT_EQ(popover.signInButton()->text(), QStringLiteral("Sign in with Pellum"));
}

TEST(OnboardingPopover, TheButtonClosesTheCardFirstThenSignsIn) {
  OnboardingPopover popover;
  bool cardGoneAtSignIn = false;
  int signIns = 0;
  popover.showSignInPrompt(QRect(), [&] {
    ++signIns;
    cardGoneAtSignIn = popover.card() == nullptr;
  });
  ASSERT_TRUE(waitUntil([&] { return popover.card() != nullptr; }, 2s));
  popover.signInButton()->click();
  EXPECT_EQ(signIns, 1);
  EXPECT_TRUE(cardGoneAtSignIn);
}

TEST(OnboardingPopover, ReturnPressesSignIn) {
  OnboardingPopover popover;
  int signIns = 0;
  popover.showSignInPrompt(QRect(), [&] { ++signIns; });
  ASSERT_TRUE(waitUntilShown(popover));
  ASSERT_TRUE(waitUntilFocused(popover));
  EXPECT_TRUE(popover.signInButton()->hasFocus());
  test::XTestKeyboard keyboard;
  keyboard.tap("Return");
  ASSERT_TRUE(waitUntil([&] { return signIns == 1; }, 2s));
  EXPECT_EQ(popover.card(), nullptr);
}

TEST(OnboardingPopover, EscapeClosesTheSignInPromptWithoutSigningIn) {
  OnboardingPopover popover;
  int signIns = 0;
  popover.showSignInPrompt(QRect(), [&] { ++signIns; });
  ASSERT_TRUE(waitUntilShown(popover));
  ASSERT_TRUE(waitUntilFocused(popover));
  test::XTestKeyboard keyboard;
  keyboard.tap("Escape");
  ASSERT_TRUE(waitUntil([&] { return popover.card() == nullptr; }, 2s));
  spin(100ms);
  EXPECT_EQ(signIns, 0);
}

TEST(OnboardingPopover, TheKeyHintNeverTakesTheFocus) {
  test::ProbeProcess probe;
  ASSERT_TRUE(probe.waitUntilReady());
  OnboardingPopover popover;
  popover.showKeyHint(QRect(600, 0, 24, 24), QStringLiteral("ctrl"), 60000);
  ASSERT_TRUE(waitUntilShown(popover));
  // Typing still goes to the application the user was in.
  test::XTestKeyboard keyboard;
  keyboard.tap("a");
  ASSERT_TRUE(probe.waitForLine(QStringLiteral("text:a")));
  EXPECT_FALSE(popover.card()->isActiveWindow());
}

// The dictation key is grabbed passively on the root window; a card that
// grabbed the keyboard (as a popup does) would swallow it.
TEST(OnboardingPopover, TheDictationKeyWorksWhileTheSignInPromptIsShown) {
  test::DictationKeyRecorder key;
  ASSERT_TRUE(key.start()) << key.unavailableReason();
  OnboardingPopover popover;
  popover.showSignInPrompt(QRect(), {});
  ASSERT_TRUE(waitUntilShown(popover));
  ASSERT_TRUE(waitUntilFocused(popover));
  EXPECT_EQ(key.pressAndRelease(), (std::vector<std::string>{"press", "release"}));
  EXPECT_NE(popover.card(), nullptr);
}

TEST(OnboardingPopover, TheDictationKeyWorksWhileTheKeyHintIsShown) {
  test::DictationKeyRecorder key;
  ASSERT_TRUE(key.start()) << key.unavailableReason();
  OnboardingPopover popover;
  popover.showKeyHint(QRect(600, 0, 24, 24), QStringLiteral("ctrl"), 60000);
  ASSERT_TRUE(waitUntilShown(popover));
  EXPECT_EQ(key.pressAndRelease(), (std::vector<std::string>{"press", "release"}));
  EXPECT_NE(popover.card(), nullptr);
}

TEST(OnboardingPopover, AClickOnAnotherWindowClosesTheKeyHintAndCancelsItsTimer) {
  test::ProbeProcess probe;
  ASSERT_TRUE(probe.waitUntilReady());
  OnboardingPopover popover;
  popover.showKeyHint(QRect(600, 0, 24, 24), QStringLiteral("ctrl"), 60000);
  ASSERT_TRUE(waitUntilShown(popover));
  EXPECT_TRUE(popover.isAutoDismissPending());
  ASSERT_FALSE(popover.card()->frameGeometry().contains(kOutsideX, kOutsideY));
  test::XTestKeyboard mouse;
  ASSERT_TRUE(mouse.click(kOutsideX, kOutsideY));
  ASSERT_TRUE(waitUntil([&] { return popover.card() == nullptr; }, 3s));
  EXPECT_FALSE(popover.isAutoDismissPending());
}

TEST(OnboardingPopover, ARightClickOnAnotherWindowClosesTheSignInPrompt) {
  test::ProbeProcess probe;
  ASSERT_TRUE(probe.waitUntilReady());
  OnboardingPopover popover;
  int signIns = 0;
  popover.showSignInPrompt(QRect(), [&] { ++signIns; });
  ASSERT_TRUE(waitUntilShown(popover));
  QPointer<QWidget> card = popover.card();
  ASSERT_FALSE(card->frameGeometry().contains(kOutsideX, kOutsideY));
  test::XTestKeyboard mouse;
  ASSERT_TRUE(mouse.click(kOutsideX, kOutsideY, 3));
  ASSERT_TRUE(waitUntil([&] { return popover.card() == nullptr && card.isNull(); }, 3s));
  EXPECT_EQ(signIns, 0);
}

TEST(OnboardingPopover, AClickInsideACardLeavesItOpen) {
  OnboardingPopover popover;
  popover.showKeyHint(QRect(600, 0, 24, 24), QStringLiteral("ctrl"), 60000);
  ASSERT_TRUE(waitUntilShown(popover));
  // A second watcher tells when the click has been seen on the desktop.
  auto witness = OutsideClickMonitor::create();
  int seen = 0;
  ASSERT_TRUE(witness->start([&](ScreenPoint) { ++seen; }));
  const QPoint inside = popover.card()->frameGeometry().center();
  test::XTestKeyboard mouse;
  ASSERT_TRUE(mouse.click(inside.x(), inside.y()));
  ASSERT_TRUE(waitUntil([&] { return seen == 1; }, 3s));
  spin(200ms);
  EXPECT_NE(popover.card(), nullptr);
  EXPECT_TRUE(popover.isAutoDismissPending());
  // The card was watching all along: the next click outside closes it.
  ASSERT_TRUE(mouse.click(kOutsideX, kOutsideY));
  ASSERT_TRUE(waitUntil([&] { return popover.card() == nullptr; }, 3s));
}

TEST(OnboardingPopover, WithoutAClickMonitorItSaysSoOnceAndTheCardsStillClose) {
  // The monitor's own connection finds no server; Qt keeps the one it has.
  const QByteArray display = qgetenv("DISPLAY");
  qputenv("DISPLAY", ":4095");
  testing::internal::CaptureStdout();
  OnboardingPopover popover;
  popover.showKeyHint(QRect(), QStringLiteral("fn"), 60000);
  const bool firstShown = waitUntilShown(popover);
  popover.showKeyHint(QRect(), QStringLiteral("fn"), 300);
  const bool secondShown = waitUntilShown(popover);
  const std::string log = testing::internal::GetCapturedStdout();
  qputenv("DISPLAY", display);
  ASSERT_TRUE(firstShown);
  ASSERT_TRUE(secondShown);
  const std::string line = "OnboardingPopover: no outside-click monitor (no X display to watch clicks on)\n";
  ASSERT_NE(log.find(line), std::string::npos) << log;
  EXPECT_EQ(log.find(line, log.find(line) + 1), std::string::npos) << log;
  ASSERT_TRUE(waitUntil([&] { return popover.card() == nullptr; }, 2s));
}

TEST(OnboardingPopover, KeyHintShowsTheKeyAndClosesByItself) {
  OnboardingPopover popover;
  popover.showKeyHint(QRect(600, 0, 24, 24), QStringLiteral("ctrl"), 500);
  ASSERT_TRUE(waitUntil([&] { return popover.card() != nullptr; }, 2s));
  EXPECT_FALSE(popover.isFloating());
  EXPECT_EQ(popover.card()->size(), QSize(300, 144));
  EXPECT_EQ(popover.card()->y(), 28);  // 4 points under the icon
  EXPECT_EQ(test::labelTexts(popover.card()),
            (QStringList{QStringLiteral("You're signed in"),
                         QStringLiteral("Hold this key anywhere to dictate.")}));
  ASSERT_NE(popover.card()->findChild<KeyCapView*>(), nullptr);
  ASSERT_TRUE(waitUntil([&] { return popover.card() == nullptr; }, 2s));
}

TEST(OnboardingPopover, ASecondCardReplacesTheFirstAndItsTimer) {
  OnboardingPopover popover;
  popover.showKeyHint(QRect(), QStringLiteral("fn"), 400);
  ASSERT_TRUE(waitUntil([&] { return popover.card() != nullptr; }, 2s));
  QPointer<QWidget> first = popover.card();
  popover.showSignInPrompt(QRect(), {});
  spin(100ms);
  EXPECT_TRUE(first.isNull());
  ASSERT_TRUE(waitUntil([&] { return popover.card() != nullptr; }, 2s));
  spin(600ms);  // the hint's timer would have fired by now
  EXPECT_NE(popover.card(), nullptr);
  popover.dismiss();
  EXPECT_EQ(popover.card(), nullptr);
}

}  // namespace
}  // namespace pellum
