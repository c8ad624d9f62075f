// The first-run cards as real windows on a private X server.
#include "ui/onboarding_popover.h"

#include <gtest/gtest.h>

#include <QLabel>

#include "support/event_loop.h"
#include "support/xtest_keyboard.h"

namespace pellum {
namespace {

using namespace std::chrono_literals;
using test::spin;
using test::waitUntil;

QStringList texts(QWidget* card) {
  QStringList out;
  for (auto* label : card->findChildren<QLabel*>()) out << label->text();
  return out;
}

TEST(OnboardingPopover, SignInPromptShowsAfterTheDelayAsAFloatingCard) {
  OnboardingPopover popover;
  popover.showSignInPrompt(QRect(), {});
  EXPECT_EQ(popover.card(), nullptr);  // not yet: the menu settles first
  ASSERT_TRUE(waitUntil([&] { return popover.card() != nullptr; }, 2s));
  QWidget* card = popover.card();
  EXPECT_TRUE(popover.isFloating());
  EXPECT_EQ(card->size(), QSize(300, 166));
  EXPECT_EQ(card->y(), 20);  // no top band on this screen
  EXPECT_EQ(texts(card), (QStringList{QStringLiteral("Welcome to Pellum"),
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
  ASSERT_TRUE(waitUntil([&] { return popover.card() != nullptr; }, 2s));
  spin(200ms);
  test::XTestKeyboard keyboard;
  keyboard.tap("Return");
  ASSERT_TRUE(waitUntil([&] { return signIns == 1; }, 2s));
  EXPECT_EQ(popover.card(), nullptr);
}

TEST(OnboardingPopover, KeyHintShowsTheKeyAndClosesByItself) {
  OnboardingPopover popover;
  popover.showKeyHint(QRect(600, 0, 24, 24), QStringLiteral("ctrl"), 500);
  ASSERT_TRUE(waitUntil([&] { return popover.card() != nullptr; }, 2s));
  EXPECT_FALSE(popover.isFloating());
  EXPECT_EQ(popover.card()->size(), QSize(300, 144));
  EXPECT_EQ(popover.card()->y(), 28);  // 4 points under the icon
  EXPECT_EQ(texts(popover.card()),
            (QStringList{QStringLiteral("You're signed in"), QStringLiteral("Hold this key anywhere to dictate.")}));
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
