// The overlay as a real window on a private X server.
#include "ui/notch_overlay_controller.h"

#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QScreen>

#include "support/event_loop.h"

namespace pellum {
namespace {

using namespace std::chrono_literals;
using test::spin;
using test::waitUntil;

TEST(NotchOverlay, ShowsAtTheTopCentreWithoutTakingFocusOrClicks) {
  NotchOverlayController overlay;
  ASSERT_TRUE(overlay.showRecording());
  NotchPanel* panel = overlay.panel();
  ASSERT_NE(panel, nullptr);
  EXPECT_TRUE(panel->isVisible());
  const QRect screen = QGuiApplication::primaryScreen()->geometry();
  EXPECT_EQ(panel->geometry(), QRect(screen.width() / 2 - 90 - 90, 0, 270, 32));
  EXPECT_TRUE(panel->windowFlags() & Qt::WindowTransparentForInput);
  EXPECT_TRUE(panel->windowFlags() & Qt::WindowDoesNotAcceptFocus);
  EXPECT_TRUE(panel->windowFlags() & Qt::WindowStaysOnTopHint);
  EXPECT_FALSE(panel->isActiveWindow());
  EXPECT_TRUE(overlay.isTicking());
}

TEST(NotchOverlay, BarsFollowTheLevelAtTheRefreshRate) {
  NotchOverlayController overlay;
  ASSERT_TRUE(overlay.showRecording());
  overlay.setTargetLevel(1.0f);
  // The hump: the middle bar takes the whole level, the outer ones half.
  ASSERT_TRUE(waitUntil([&] { return overlay.panel()->levels[0] > 0.499; }, 3s));
  EXPECT_NEAR(overlay.panel()->levels[2], 1.0, 0.001);
  EXPECT_NEAR(overlay.panel()->levels[1], 0.78, 0.001);
}

TEST(NotchOverlay, LevelDuringProcessingIsIgnoredAndNothingTicks) {
  NotchOverlayController overlay;
  ASSERT_TRUE(overlay.showRecording());
  overlay.setTargetLevel(0.4f);
  overlay.showProcessing();
  overlay.setTargetLevel(0.9f);
  EXPECT_FLOAT_EQ(static_cast<float>(overlay.targetLevel()), 0.4f);
  EXPECT_FALSE(overlay.isTicking());
  EXPECT_TRUE(overlay.isProcessing());
}

TEST(NotchOverlay, SecondShowProcessingDoesNotRestartTheFailsafe) {
  NotchOverlayController overlay(1000ms);
  ASSERT_TRUE(overlay.showRecording());
  overlay.showProcessing();
  spin(300ms);
  const int remaining = overlay.failsafeRemainingMs();
  overlay.showProcessing();
  EXPECT_LE(overlay.failsafeRemainingMs(), remaining);
}

TEST(NotchOverlay, FailsafeHidesAForgottenOverlay) {
  NotchOverlayController overlay(400ms);
  ASSERT_TRUE(overlay.showRecording());
  overlay.showProcessing();
  ASSERT_TRUE(waitUntil([&] { return overlay.panel() == nullptr; }, 3s));
}

TEST(NotchOverlay, HideThenShowWithinTheFadeKeepsTheNewOverlay) {
  NotchOverlayController overlay;
  ASSERT_TRUE(overlay.showRecording());
  overlay.hide();
  spin(100ms);
  ASSERT_TRUE(overlay.showRecording());
  NotchPanel* fresh = overlay.panel();
  spin(400ms);
  EXPECT_EQ(overlay.panel(), fresh);
  EXPECT_TRUE(fresh->isVisible());
  EXPECT_TRUE(overlay.isTicking());
}

TEST(NotchOverlay, HideRemovesThePanel) {
  NotchOverlayController overlay;
  ASSERT_TRUE(overlay.showRecording());
  overlay.hide();
  ASSERT_TRUE(waitUntil([&] { return overlay.panel() == nullptr; }, 2s));
  EXPECT_FALSE(overlay.isTicking());
  overlay.showProcessing();  // harmless without a panel
  overlay.setTargetLevel(1);
  EXPECT_EQ(overlay.panel(), nullptr);
}

}  // namespace
}  // namespace pellum

namespace pellum {
namespace {

using Animation = NotchOverlayController::Animation;

TEST(NotchOverlay, ThingsThatAppearEaseOutThingsThatGoEaseIn) {
  // Halfway through, the standard ease-out curve is about 0.69 of the way,
  // the ease-in curve about 0.31.
  for (Animation appears : {Animation::reveal, Animation::loaderEntrance}) {
    EXPECT_NEAR(NotchOverlayController::easing(appears).valueForProgress(0.5), 0.69, 0.03);
  }
  for (Animation goes : {Animation::collapse, Animation::dismiss}) {
    EXPECT_NEAR(NotchOverlayController::easing(goes).valueForProgress(0.5), 0.31, 0.03);
  }
  EXPECT_NEAR(NotchOverlayController::easing(Animation::dismiss).valueForProgress(1.0), 1.0, 1e-6);
}

TEST(NotchOverlay, TheLowerCornersAreCutOutByAMaskEvenWithoutACompositor) {
  NotchOverlayController overlay;
  ASSERT_TRUE(overlay.showRecording());
  const QRegion mask = overlay.panel()->mask();
  ASSERT_FALSE(mask.isEmpty());
  const int w = overlay.panel()->width(), h = overlay.panel()->height();
  EXPECT_TRUE(mask.contains(QPoint(0, 0)));  // square at the top
  EXPECT_TRUE(mask.contains(QPoint(w - 1, 0)));
  EXPECT_FALSE(mask.contains(QPoint(0, h - 1)));  // rounded below
  EXPECT_FALSE(mask.contains(QPoint(w - 1, h - 1)));
  EXPECT_TRUE(mask.contains(QPoint(w / 2, h - 1)));
  overlay.hide();
}

}  // namespace
}  // namespace pellum
