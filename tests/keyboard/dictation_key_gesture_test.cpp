#include "keyboard/dictation_key_gesture.h"

#include <gtest/gtest.h>

namespace pellum {
namespace {

using namespace std::chrono_literals;
using Action = DictationKeyGesture::Action;

class DictationKeyGestureTest : public ::testing::Test {
 protected:
  // A clock the test moves by hand.
  DictationKeyGesture::Clock::time_point at(std::chrono::milliseconds offset) const {
    return start_ + offset;
  }
  DictationKeyGesture::Clock::time_point start_ = DictationKeyGesture::Clock::now();
};

TEST_F(DictationKeyGestureTest, HoldStartsOnPressAndFinishesOnRelease) {
  DictationKeyGesture gesture;
  EXPECT_EQ(gesture.keyDown(at(0ms)), Action::start);
  EXPECT_TRUE(gesture.isDictating());
  EXPECT_EQ(gesture.keyUp(at(2000ms)), Action::finish);
  EXPECT_FALSE(gesture.isDictating());
}

TEST_F(DictationKeyGestureTest, InHoldModeEvenAQuickTapIsAWholeDictation) {
  DictationKeyGesture gesture(false);
  EXPECT_EQ(gesture.keyDown(at(0ms)), Action::start);
  EXPECT_EQ(gesture.keyUp(at(100ms)), Action::finish);
}

TEST_F(DictationKeyGestureTest, ATapShorterThanTheLimitGoesHandsFreeUntilTheNextPress) {
  DictationKeyGesture gesture(true);
  EXPECT_EQ(gesture.keyDown(at(0ms)), Action::start);
  EXPECT_EQ(gesture.keyUp(at(299ms)), Action::none);
  EXPECT_TRUE(gesture.isHandsFree());
  EXPECT_EQ(gesture.keyDown(at(5000ms)), Action::finish);
  EXPECT_FALSE(gesture.isDictating());
  // The ending tap's own release means nothing, however long it was held.
  EXPECT_EQ(gesture.keyUp(at(7000ms)), Action::none);
  // And the next press starts afresh.
  EXPECT_EQ(gesture.keyDown(at(8000ms)), Action::start);
}

TEST_F(DictationKeyGestureTest, APressOfExactlyTheLimitIsAHold) {
  DictationKeyGesture gesture(true);
  gesture.keyDown(at(0ms));
  EXPECT_EQ(gesture.keyUp(at(300ms)), Action::finish);
}

TEST_F(DictationKeyGestureTest, AHoldStillWorksInHoldOrTapMode) {
  DictationKeyGesture gesture(true);
  EXPECT_EQ(gesture.keyDown(at(0ms)), Action::start);
  EXPECT_EQ(gesture.keyUp(at(1500ms)), Action::finish);
}

TEST_F(DictationKeyGestureTest, RepeatedDownsWhileHeldChangeNothing) {
  DictationKeyGesture gesture(true);
  gesture.keyDown(at(0ms));
  EXPECT_EQ(gesture.keyDown(at(50ms)), Action::none);
  EXPECT_EQ(gesture.keyUp(at(100ms)), Action::none);  // measured from the first press: a tap
  EXPECT_TRUE(gesture.isHandsFree());
}

TEST_F(DictationKeyGestureTest, AStrayReleaseReportsNothing) {
  DictationKeyGesture gesture(true);
  EXPECT_EQ(gesture.keyUp(at(0ms)), Action::none);
  EXPECT_FALSE(gesture.isDictating());
}

TEST_F(DictationKeyGestureTest, TheCapEndsAHeldDictationAndItsReleaseIsIgnored) {
  DictationKeyGesture gesture(false, 5min);
  gesture.keyDown(at(0ms));
  ASSERT_TRUE(gesture.capDeadline());
  EXPECT_EQ(*gesture.capDeadline(), at(5min));
  EXPECT_EQ(gesture.checkCap(at(5min - 1ms)), Action::none);
  EXPECT_EQ(gesture.checkCap(at(5min)), Action::finish);
  EXPECT_FALSE(gesture.isDictating());
  EXPECT_EQ(gesture.capDeadline(), std::nullopt);
  EXPECT_EQ(gesture.keyUp(at(6min)), Action::none);
  EXPECT_EQ(gesture.keyDown(at(7min)), Action::start);
}

TEST_F(DictationKeyGestureTest, TheCapEndsAHandsFreeDictationAndTheNextPressStartsAnother) {
  DictationKeyGesture gesture(true, 5min);
  gesture.keyDown(at(0ms));
  gesture.keyUp(at(100ms));
  EXPECT_EQ(gesture.checkCap(at(5min)), Action::finish);
  EXPECT_EQ(gesture.keyDown(at(6min)), Action::start);
}

TEST_F(DictationKeyGestureTest, CancelWhileHeldIgnoresTheRelease) {
  DictationKeyGesture gesture(true);
  gesture.keyDown(at(0ms));
  gesture.cancel();
  EXPECT_FALSE(gesture.isDictating());
  EXPECT_EQ(gesture.keyUp(at(100ms)), Action::none);
  EXPECT_EQ(gesture.keyDown(at(200ms)), Action::start);
}

TEST_F(DictationKeyGestureTest, APressAfterACancelWhoseReleaseNeverCameStartsAgain) {
  DictationKeyGesture gesture;
  gesture.keyDown(at(0ms));
  gesture.cancel();
  EXPECT_EQ(gesture.keyDown(at(1000ms)), Action::start);
  EXPECT_EQ(gesture.keyUp(at(2000ms)), Action::finish);
}

TEST_F(DictationKeyGestureTest, CancelWhileHandsFreeMakesTheNextPressAStart) {
  DictationKeyGesture gesture(true);
  gesture.keyDown(at(0ms));
  gesture.keyUp(at(100ms));
  gesture.cancel();
  EXPECT_EQ(gesture.keyDown(at(1000ms)), Action::start);
}

TEST_F(DictationKeyGestureTest, NoCapWhileIdle) {
  DictationKeyGesture gesture;
  EXPECT_EQ(gesture.checkCap(at(1h)), Action::none);
}

}  // namespace
}  // namespace pellum
