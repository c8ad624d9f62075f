// The overlay as layer surfaces on a real compositor (a headless sway).
#include "ui/notch_surfaces_wayland.h"

#include <gtest/gtest.h>

#include <QImage>
#include <QProcess>

#include "support/event_loop.h"
#include "support/sway_session.h"

namespace pellum {
namespace {

using namespace std::chrono_literals;
using test::waitUntil;

bool isBlack(QRgb pixel) { return qRed(pixel) == 0 && qGreen(pixel) == 0 && qBlue(pixel) == 0; }

// A point inside the band (right of the bars, where nothing but black is
// drawn) and one just below it, on a screen `width` wide.
QPoint insideBand(int width) { return {width / 2 + 40, 12}; }
QPoint belowBand(int width) { return {width / 2 + 40, 48}; }

QImage screenshot(const test::SwaySession& sway) { return QImage::fromData(sway.screenshot(), "PNG"); }

struct Overlay {
  explicit Overlay(const test::SwaySession& sway) {
    auto connection = std::make_unique<WaylandConnection>(sway.waylandDisplay().toStdString());
    surfaces = new LayerShellNotchSurfaces(std::move(connection));
    controller = std::make_unique<NotchOverlayController>(std::chrono::seconds(60),
                                                          std::unique_ptr<NotchSurfaces>(surfaces));
  }
  LayerShellNotchSurfaces* surfaces;
  std::unique_ptr<NotchOverlayController> controller;
};

class LayerShellOverlay : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(sway.isRunning()) << sway.failure().toStdString();
    terminal.setProcessEnvironment(sway.clientEnvironment());
    terminal.start(QStringLiteral("foot"), {});
    ASSERT_TRUE(sway.waitForFocus(QStringLiteral("foot"))) << sway.log().toStdString();
  }
  void TearDown() override {
    terminal.kill();
    terminal.waitForFinished(5000);
  }
  // Waits until the band's pixel is black (or not), as screenshots see it.
  bool bandShows(bool shown) {
    return waitUntil(
        [&] {
          const QImage shot = screenshot(sway);
          return !shot.isNull() && isBlack(shot.pixel(insideBand(shot.width()))) == shown;
        },
        5s);
  }

  test::SwaySession sway;
  QProcess terminal;
};

TEST_F(LayerShellOverlay, ShowsAtTheTopCentreWithoutTakingFocusAndGoesAway) {
  const QImage before = screenshot(sway);
  ASSERT_FALSE(before.isNull());
  ASSERT_FALSE(isBlack(before.pixel(insideBand(before.width()))));
  Overlay overlay(sway);
  ASSERT_TRUE(overlay.controller->showRecording());
  ASSERT_TRUE(bandShows(true));
  const QImage shot = screenshot(sway);
  EXPECT_FALSE(isBlack(shot.pixel(belowBand(shot.width()))));
  EXPECT_FALSE(isBlack(shot.pixel(QPoint(10, 12))));
  EXPECT_FALSE(isBlack(shot.pixel(QPoint(shot.width() - 10, 12))));
  EXPECT_EQ(sway.focusedApp(), QStringLiteral("foot"));
  overlay.controller->hide();
  EXPECT_TRUE(bandShows(false));
}

TEST_F(LayerShellOverlay, StaysVisibleOverAFullScreenWindow) {
  sway.swaymsg({QStringLiteral("fullscreen"), QStringLiteral("enable")});
  Overlay overlay(sway);
  ASSERT_TRUE(overlay.controller->showRecording());
  EXPECT_TRUE(bandShows(true));
  EXPECT_EQ(sway.focusedApp(), QStringLiteral("foot"));
}

TEST_F(LayerShellOverlay, EachScreenGetsOne) {
  Overlay overlay(sway);
  ASSERT_TRUE(overlay.controller->showRecording());
  ASSERT_TRUE(waitUntil([&] { return overlay.surfaces->committedSurfaces() == 1; }, 5s));
  // A screen plugged in while the overlay shows gets its own.
  sway.swaymsg({QStringLiteral("create_output")});
  EXPECT_TRUE(waitUntil([&] { return overlay.surfaces->committedSurfaces() == 2; }, 5s));
}

}  // namespace
}  // namespace pellum
