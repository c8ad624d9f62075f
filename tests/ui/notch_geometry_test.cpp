#include "ui/notch_geometry.h"

#include <gtest/gtest.h>

namespace pellum::notch {
namespace {

TEST(NotchFrame, CoversTheHousingAndNinetyPointsToItsLeft) {
  ScreenFacts screen;
  screen.frame = {0, 0, 1512, 982};
  screen.safeTopInset = 32;
  screen.auxiliaryTopLeft = Rect{0, 0, 661, 32};
  screen.auxiliaryTopRight = Rect{851, 0, 661, 32};
  EXPECT_EQ(notchFrame(screen), (Rect{571, 0, 280, 32}));
}

TEST(NotchFrame, MissingAreasOrNoRoomGiveNoFrame) {
  ScreenFacts screen;
  screen.frame = {0, 0, 1920, 1080};
  screen.safeTopInset = 32;
  EXPECT_EQ(notchFrame(screen), std::nullopt);
  screen.auxiliaryTopLeft = Rect{0, 0, 960, 32};
  screen.auxiliaryTopRight = Rect{960, 0, 960, 32};
  EXPECT_EQ(notchFrame(screen), std::nullopt);
  screen.auxiliaryTopRight = Rect{1000, 0, 920, 32};
  screen.safeTopInset = 0;
  EXPECT_EQ(notchFrame(screen), std::nullopt);
}

TEST(VirtualNotch, WithoutATopPanelIsThirtyTwoHighCentred) {
  const auto frame = notchFrame(virtualNotch({0, 0, 1920, 1080}, {0, 0, 1920, 1080}));
  ASSERT_TRUE(frame);
  EXPECT_EQ(*frame, (Rect{780, 0, 270, 32}));  // housing 870..1050, plus 90 to the left
}

TEST(VirtualNotch, AsTallAsATopPanelOfThirtyTwo) {
  const auto frame = notchFrame(virtualNotch({0, 0, 1920, 1080}, {0, 32, 1920, 1048}));
  ASSERT_TRUE(frame);
  EXPECT_EQ(frame->height, 32);
  const auto tall = notchFrame(virtualNotch({0, 0, 2560, 1440}, {0, 48, 2560, 1392}));
  EXPECT_EQ(tall->height, 48);
  EXPECT_EQ(tall->x, 1280 - 90 - 90);
}

TEST(VirtualNotch, OnASecondScreenFollowsItsOrigin) {
  const auto frame = notchFrame(virtualNotch({1920, 0, 1280, 1024}, {1920, 0, 1280, 1024}));
  EXPECT_EQ(frame->x, 1920 + 550 - 90);
}

TEST(NotchBars, Layout) {
  EXPECT_DOUBLE_EQ(barX(0), 28.25);
  EXPECT_DOUBLE_EQ(barX(4), 58.25);
  EXPECT_DOUBLE_EQ(dotX(0), 8);
  EXPECT_DOUBLE_EQ(dotX(4), 54);
  EXPECT_DOUBLE_EQ(loaderWidth(), 67.5);
}

TEST(NotchBars, SteadyFullLevelSettlesIntoTheHump) {
  std::array<double, kBarCount> levels{};
  for (int i = 0; i < 200; ++i) tickLevels(levels, 1.0);
  EXPECT_NEAR(barHeight(levels[2], 32), 25.0, 1e-6);
  EXPECT_NEAR(barHeight(levels[0], 32), 14.0, 1e-6);
  EXPECT_NEAR(barHeight(levels[4], 32), 14.0, 1e-6);
  EXPECT_NEAR(barHeight(levels[1], 32), 22 * 0.78 + 3, 1e-6);
}

TEST(NotchBars, OneRefreshMovesEachBarByItsEase) {
  std::array<double, kBarCount> levels{};
  tickLevels(levels, 1.0);
  EXPECT_DOUBLE_EQ(levels[2], 0.35);
  EXPECT_DOUBLE_EQ(levels[0], 0.5 * 0.22);
}

TEST(NotchBars, LowContentHasRoomOfSix) {
  EXPECT_DOUBLE_EQ(barHeight(1.0, 15), 9.0);
  EXPECT_DOUBLE_EQ(barHeight(0.0, 15), 3.0);
}

TEST(NotchLoader, DotsPulseInAWave) {
  EXPECT_NEAR(dotPulse(0, 0).opacity, 0.3, 1e-9);
  EXPECT_NEAR(dotPulse(0, 0.55).opacity, 1.0, 1e-9);
  EXPECT_NEAR(dotPulse(0, 0.55).scale, 1.15, 1e-9);
  EXPECT_NEAR(dotPulse(0, 1.1).opacity, 0.3, 1e-9);
  // Dot 1 runs 0.22 s ahead of dot 0.
  EXPECT_NEAR(dotPulse(1, 0).opacity, dotPulse(0, 0.22).opacity, 1e-9);
}

TEST(FromBottomLeft, FlipsAgainstThePrimaryScreensHeight) {
  // A 1512 x 982 built-in screen; AppKit puts its 38-point top band at y 944.
  EXPECT_EQ(fromBottomLeft({0, 944, 1512, 38}, 982), (Rect{0, 0, 1512, 38}));
  EXPECT_EQ(fromBottomLeft({0, 944, 660, 38}, 982), (Rect{0, 0, 660, 38}));
}

TEST(FromBottomLeft, AScreenAboveThePrimaryOneHasNegativeY) {
  // A 1080-high screen stacked on top of a 982-high primary one.
  EXPECT_EQ(fromBottomLeft({0, 982, 1920, 1080}, 982), (Rect{0, -1080, 1920, 1080}));
}

TEST(FromBottomLeft, ARealNotchGivesTheFrameBesideIt) {
  // The auxiliary areas of a 14-inch MacBook Pro in AppKit's coordinates.
  ScreenFacts screen;
  screen.frame = fromBottomLeft({0, 0, 1512, 982}, 982);
  screen.safeTopInset = 38;
  screen.auxiliaryTopLeft = fromBottomLeft({0, 944, 662, 38}, 982);
  screen.auxiliaryTopRight = fromBottomLeft({850, 944, 662, 38}, 982);
  EXPECT_EQ(notchFrame(screen), (Rect{572, 0, 278, 38}));
}

}  // namespace
}  // namespace pellum::notch
