// The tray icon's drawings, measured in the pixels they produce.
#include "app/status_icon_images.h"

#include <gtest/gtest.h>

#include <QImage>

namespace pellum {
namespace {

// The rows and columns that hold any ink.
QRect inkBounds(const QImage& image) {
  QRect bounds;
  for (int y = 0; y < image.height(); ++y) {
    for (int x = 0; x < image.width(); ++x) {
      if (qAlpha(image.pixel(x, y)) > 64) bounds |= QRect(x, y, 1, 1);
    }
  }
  return bounds;
}

TEST(StatusIconImages, TheIdlePIsDrawnAt17PointsInItsEighteenPointBox) {
  const QImage icon = idleIconImage(Qt::black, 1.0);
  ASSERT_EQ(icon.size(), QSize(18, 18));
  const QRect ink = inkBounds(icon);
  ASSERT_FALSE(ink.isEmpty());
  // A capital at 17.1 pixels stands about 12 pixels tall (cap height is
  // about 0.7 of the size); drawn at 17.1 Qt points it would be a third
  // larger and fill the box.
  EXPECT_GE(ink.height(), 9);
  EXPECT_LE(ink.height(), 14);
  EXPECT_GE(ink.top(), 1);
  EXPECT_LE(ink.bottom(), 16);
}

TEST(StatusIconImages, TheIdlePScalesWithTheScreen) {
  const QRect single = inkBounds(idleIconImage(Qt::black, 1.0));
  const QRect doubled = inkBounds(idleIconImage(Qt::black, 2.0));
  EXPECT_NEAR(doubled.height(), 2 * single.height(), 2);
}

}  // namespace
}  // namespace pellum
