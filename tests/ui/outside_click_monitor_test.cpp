// The outside-click monitor on a private X server, with clicks made through
// XTest, some of them on a separate X client's window.
#include "ui/outside_click_monitor.h"

#include <gtest/gtest.h>

#include <QWidget>
#include <cstdlib>
#include <memory>
#include <vector>

#include <xcb/xcb.h>

#include "support/event_loop.h"
#include "support/probe_process.h"
#include "support/xtest_keyboard.h"

namespace pellum {

bool operator==(const ScreenPoint& a, const ScreenPoint& b) { return a.x == b.x && a.y == b.y; }
void PrintTo(const ScreenPoint& p, std::ostream* out) { *out << "(" << p.x << ", " << p.y << ")"; }

namespace {

using namespace std::chrono_literals;
using test::waitUntil;

class OutsideClickMonitorTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(mouse_.isConnected());
    monitor_ = OutsideClickMonitor::create();
  }

  bool startRecording() {
    return monitor_->start([this](ScreenPoint where) { presses_.push_back(where); });
  }

  test::XTestKeyboard mouse_;
  std::unique_ptr<OutsideClickMonitor> monitor_;
  std::vector<ScreenPoint> presses_;
};

TEST_F(OutsideClickMonitorTest, ReportsLeftAndRightPressesWhereTheyLandButNotTheMiddleButton) {
  ASSERT_TRUE(startRecording()) << monitor_->unavailableReason();
  EXPECT_EQ(monitor_->unavailableReason(), "");
  // The position is the pointer's when the press is read, so each click is
  // let through before the pointer moves on.
  ASSERT_TRUE(mouse_.click(100, 200, 1));
  ASSERT_TRUE(waitUntil([&] { return presses_.size() == 1; }, 3s));
  ASSERT_TRUE(mouse_.click(300, 400, 2));
  ASSERT_TRUE(mouse_.click(500, 600, 3));
  ASSERT_TRUE(waitUntil([&] { return presses_.size() >= 2; }, 3s));
  test::spin(200ms);  // room for a middle press to show up, were it reported
  EXPECT_EQ(presses_, (std::vector<ScreenPoint>{{100, 200}, {500, 600}}));
}

TEST_F(OutsideClickMonitorTest, SeesClicksOnAnotherClientsWindow) {
  test::ProbeProcess probe;
  ASSERT_TRUE(probe.waitUntilReady());
  ASSERT_TRUE(startRecording()) << monitor_->unavailableReason();
  ASSERT_TRUE(mouse_.click(50, 30));  // on the probe's field, at (0, 0) 600x60
  ASSERT_TRUE(waitUntil([&] { return !presses_.empty(); }, 3s));
  EXPECT_EQ(presses_.front(), (ScreenPoint{50, 30}));
}

TEST_F(OutsideClickMonitorTest, SeesClicksWhileAnotherClientHoldsThePointerGrab) {
  // A Qt popup grabs the pointer and the keyboard on Qt's own connection.
  QWidget popup(nullptr, Qt::Popup);
  popup.setGeometry(700, 500, 100, 100);
  popup.show();
  ASSERT_TRUE(waitUntil([&] { return popup.isVisible(); }, 2s));
  // Proof that the grab is held: nobody else can take the pointer now.
  xcb_connection_t* other = xcb_connect(nullptr, nullptr);
  ASSERT_FALSE(xcb_connection_has_error(other));
  const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(other)).data->root;
  uint8_t status = XCB_GRAB_STATUS_SUCCESS;
  ASSERT_TRUE(waitUntil(
      [&] {
        auto* reply = xcb_grab_pointer_reply(
            other,
            xcb_grab_pointer(other, 0, root, XCB_EVENT_MASK_BUTTON_PRESS, XCB_GRAB_MODE_ASYNC,
                             XCB_GRAB_MODE_ASYNC, XCB_NONE, XCB_NONE, XCB_CURRENT_TIME),
            nullptr);
        status = reply ? reply->status : uint8_t{XCB_GRAB_STATUS_SUCCESS};
        free(reply);
        if (status == XCB_GRAB_STATUS_SUCCESS) xcb_ungrab_pointer(other, XCB_CURRENT_TIME);
        return status == XCB_GRAB_STATUS_ALREADY_GRABBED;
      },
      2s));
  xcb_disconnect(other);

  ASSERT_TRUE(startRecording()) << monitor_->unavailableReason();
  ASSERT_TRUE(mouse_.click(20, 700, 3));
  ASSERT_TRUE(waitUntil([&] { return !presses_.empty(); }, 3s));
  EXPECT_EQ(presses_.front(), (ScreenPoint{20, 700}));
}

TEST_F(OutsideClickMonitorTest, ReportsNothingAfterStopAndAgainAfterARestart) {
  ASSERT_TRUE(startRecording()) << monitor_->unavailableReason();
  monitor_->stop();
  // A second monitor shows when the click has come through.
  auto witness = OutsideClickMonitor::create();
  int witnessed = 0;
  ASSERT_TRUE(witness->start([&](ScreenPoint) { ++witnessed; }));
  ASSERT_TRUE(mouse_.click(10, 10));
  ASSERT_TRUE(waitUntil([&] { return witnessed == 1; }, 3s));
  test::spin(100ms);
  EXPECT_TRUE(presses_.empty());

  ASSERT_TRUE(startRecording());
  ASSERT_TRUE(mouse_.click(20, 20));
  ASSERT_TRUE(waitUntil([&] { return presses_.size() == 1; }, 3s));
  EXPECT_EQ(presses_.front(), (ScreenPoint{20, 20}));
}

TEST_F(OutsideClickMonitorTest, StoppingFromTheCallbackDropsTheReportsStillQueued) {
  int calls = 0;
  ASSERT_TRUE(monitor_->start([&](ScreenPoint) {
    ++calls;
    monitor_->stop();
  }));
  // The second press is either queued behind the first or still unread
  // when the first one's callback stops the monitor; either way it never
  // comes.
  ASSERT_TRUE(mouse_.click(30, 30));
  ASSERT_TRUE(mouse_.click(40, 40));
  ASSERT_TRUE(waitUntil([&] { return calls >= 1; }, 3s));
  test::spin(200ms);
  EXPECT_EQ(calls, 1);
}

TEST_F(OutsideClickMonitorTest, WithoutAnXServerItSaysWhyAndNeverReports) {
  const QByteArray display = qgetenv("DISPLAY");
  qputenv("DISPLAY", ":4095");  // no server there
  const bool started = startRecording();
  qputenv("DISPLAY", display);
  EXPECT_FALSE(started);
  EXPECT_NE(monitor_->unavailableReason().find("X display"), std::string::npos)
      << monitor_->unavailableReason();
  ASSERT_TRUE(mouse_.click(60, 60));
  test::spin(200ms);
  EXPECT_TRUE(presses_.empty());
}

TEST(NullOutsideClickMonitor, NeverStartsAndSaysWhy) {
  auto monitor = makeNullOutsideClickMonitor("no clicks here");
  EXPECT_FALSE(monitor->start([](ScreenPoint) { ADD_FAILURE() << "a null monitor reported a press"; }));
  EXPECT_EQ(monitor->unavailableReason(), "no clicks here");
  monitor->stop();
}

}  // namespace
}  // namespace pellum
