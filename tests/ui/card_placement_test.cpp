#include "ui/card_placement.h"

#include <gtest/gtest.h>

namespace pellum::card_placement {
namespace {

using notch::Rect;

TEST(CardPlacement, FloatingSitsFortyBelowTheTopWithAThirtyTwoPointBand) {
  EXPECT_EQ(floating({0, 0, 1920, 1080}, 32, 300, 166), (Rect{810, 40, 300, 166}));
}

TEST(CardPlacement, FloatingSitsTwentyBelowTheTopWithoutABand) {
  EXPECT_EQ(floating({0, 0, 1920, 1080}, 0, 300, 144), (Rect{810, 20, 300, 144}));
}

TEST(CardPlacement, BelowTheTrayIconCentredOnIt) {
  EXPECT_EQ(belowAnchor({1000, 0, 24, 24}, 300, 166, {0, 24, 1920, 1056}), (Rect{862, 28, 300, 166}));
}

TEST(CardPlacement, KeptOnScreenAtTheRightEdge) {
  EXPECT_EQ(belowAnchor({1900, 0, 20, 24}, 300, 166, {0, 24, 1920, 1056}).x, 1620);
}

TEST(CardPlacement, AboveAnIconInABottomPanel) {
  const auto place = belowAnchor({1000, 1056, 24, 24}, 300, 166, {0, 0, 1920, 1056});
  EXPECT_EQ(place.y, 1056 - 166 - 4);
}

}  // namespace
}  // namespace pellum::card_placement
