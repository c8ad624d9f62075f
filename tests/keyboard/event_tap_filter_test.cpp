#include "keyboard/event_tap_filter.h"

#include <gtest/gtest.h>

namespace pellum::event_tap {
namespace {

using Report = Verdict::Report;

constexpr std::uint64_t kShiftFlag = 0x20000;
constexpr std::int64_t kAKeyCode = 0;
constexpr std::int64_t kShiftKeyCode = 56;

Verdict flagsChanged(std::uint64_t flags, bool held, std::int64_t keyCode = kFnKeyCode) {
  return filter(kFlagsChanged, flags, keyCode, held, false);
}

TEST(EventTapFilter, ListensToKeyDownKeyUpAndFlagsChanged) { EXPECT_EQ(kEventMask, 0x1C00u); }

TEST(EventTapFilter, FnFlagAppearingPressesAndIsSwallowed) {
  EXPECT_EQ(flagsChanged(kFnFlag, false), (Verdict{Report::keyDown, true}));
}

TEST(EventTapFilter, FnFlagClearingReleasesAndIsSwallowed) {
  EXPECT_EQ(flagsChanged(0, true), (Verdict{Report::keyUp, true}));
}

TEST(EventTapFilter, ShiftWhileFnIsHeldReportsNothingAndPassesThrough) {
  EXPECT_EQ(flagsChanged(kFnFlag | kShiftFlag, true, kShiftKeyCode), Verdict{});
}

TEST(EventTapFilter, AModifierChangeWithoutFnPassesThrough) {
  EXPECT_EQ(flagsChanged(kShiftFlag, false, kShiftKeyCode), Verdict{});
}

TEST(EventTapFilter, FlagsChangedOnTheFnCodeThatChangesNothingPassesThrough) {
  EXPECT_EQ(flagsChanged(0, false), Verdict{});
}

TEST(EventTapFilter, FnKeyDownPressesWhenUp) {
  EXPECT_EQ(filter(kKeyDown, 0, kFnKeyCode, false, false), (Verdict{Report::keyDown, true}));
}

TEST(EventTapFilter, ASecondFnKeyDownWhileHeldPassesThrough) {
  EXPECT_EQ(filter(kKeyDown, kFnFlag, kFnKeyCode, true, false), Verdict{});
}

TEST(EventTapFilter, FnKeyUpReleasesOnlyWhenHeld) {
  EXPECT_EQ(filter(kKeyUp, 0, kFnKeyCode, true, false), (Verdict{Report::keyUp, true}));
  EXPECT_EQ(filter(kKeyUp, 0, kFnKeyCode, false, false), Verdict{});
}

TEST(EventTapFilter, OtherKeysPassThroughWhetherOrNotFnIsHeld) {
  EXPECT_EQ(filter(kKeyDown, 0, kAKeyCode, false, false), Verdict{});
  EXPECT_EQ(filter(kKeyDown, kFnFlag, kAKeyCode, true, false), Verdict{});
  EXPECT_EQ(filter(kKeyUp, kFnFlag, kAKeyCode, true, false), Verdict{});
}

TEST(EventTapFilter, DisableNotificationsReEnableTheTapAndPassThrough) {
  EXPECT_EQ(filter(kDisabledByTimeout, 0, 0, false, false), (Verdict{Report::reEnableTap, false}));
  EXPECT_EQ(filter(kDisabledByUserInput, kFnFlag, kFnKeyCode, true, false),
            (Verdict{Report::reEnableTap, false}));
}

TEST(EventTapFilter, EscapeCancelsOnlyWhileArmed) {
  EXPECT_EQ(filter(kKeyDown, 0, kEscapeKeyCode, true, true), (Verdict{Report::cancel, true}));
  EXPECT_EQ(filter(kKeyDown, 0, kEscapeKeyCode, false, true), (Verdict{Report::cancel, true}));
  EXPECT_EQ(filter(kKeyDown, 0, kEscapeKeyCode, true, false), Verdict{});
}

TEST(EventTapFilter, FnIsStillSeenWhileEscapeIsArmed) {
  EXPECT_EQ(filter(kFlagsChanged, 0, kFnKeyCode, true, true), (Verdict{Report::keyUp, true}));
}

TEST(EventTapFilter, APressAndReleaseThroughFlagsPairUp) {
  bool held = false;
  int presses = 0, releases = 0;
  for (const std::uint64_t flags :
       {kFnFlag, kFnFlag | kShiftFlag, kFnFlag, std::uint64_t{0}, std::uint64_t{0}}) {
    const Verdict verdict = flagsChanged(flags, held);
    if (verdict.report == Report::keyDown) ++presses, held = true;
    if (verdict.report == Report::keyUp) ++releases, held = false;
  }
  EXPECT_EQ(presses, 1);
  EXPECT_EQ(releases, 1);
}

TEST(EventTapFilter, PasteKeystrokeIsVWithCommandOnly) {
  EXPECT_EQ(kVKeyCode, 9);
  EXPECT_EQ(kCommandFlag, 0x100000u);
}

}  // namespace
}  // namespace pellum::event_tap
