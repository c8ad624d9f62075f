// Our own connection to a real compositor (a headless sway).

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QFile>

#include <wayland-client.h>

#include "support/sway_session.h"
#include "support/wayland_keyboard.h"
#include "wayland/virtual-keyboard-unstable-v1-client-protocol.h"
#include "wayland/wayland_connection.h"
#include "wayland/wlr-data-control-unstable-v1-client-protocol.h"
#include "wayland/wlr-layer-shell-unstable-v1-client-protocol.h"

namespace pellum {
namespace {

TEST(WaylandConnectionTest, LearnsTheGlobalsOfSway) {
  test::SwaySession sway;
  ASSERT_TRUE(sway.isRunning()) << sway.failure().toStdString();
  WaylandConnection connection;
  ASSERT_TRUE(connection.isConnected()) << connection.error();
  EXPECT_TRUE(connection.has(wl_seat_interface));
  EXPECT_TRUE(connection.has(zwp_virtual_keyboard_manager_v1_interface));
  EXPECT_TRUE(connection.has(zwlr_data_control_manager_v1_interface));
  EXPECT_TRUE(connection.has(zwlr_layer_shell_v1_interface));
  auto* seat = connection.bind<wl_seat>(wl_seat_interface, 7);
  ASSERT_NE(seat, nullptr);
  EXPECT_TRUE(connection.roundtrip());
  wl_seat_destroy(seat);
}

TEST(WaylandConnectionTest, NoCompositorIsAClearError) {
  WaylandConnection connection("/nonexistent/wayland-socket");
  EXPECT_FALSE(connection.isConnected());
  EXPECT_NE(connection.error().find("cannot connect"), std::string::npos) << connection.error();
}

TEST(WaylandConnectionTest, ACompositorThatGoesAwayIsReportedOnce) {
  auto sway = std::make_unique<test::SwaySession>();
  ASSERT_TRUE(sway->isRunning()) << sway->failure().toStdString();
  WaylandConnection connection(sway->waylandDisplay().toStdString());
  ASSERT_TRUE(connection.isConnected());
  int lost = 0;
  connection.onLost = [&lost] { ++lost; };
  sway.reset();
  QDeadlineTimer deadline(5000);
  while (lost == 0 && !deadline.hasExpired()) QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
  EXPECT_EQ(lost, 1);
  EXPECT_FALSE(connection.isConnected());
  EXPECT_FALSE(connection.error().empty());
}

TEST(SwaySessionTest, AVirtualKeyboardOfTheTestReachesTheFocusedWindow) {
  test::SwaySession sway;
  ASSERT_TRUE(sway.isRunning()) << sway.failure().toStdString();
  test::WaylandKeyboard keyboard(sway.clientEnvironment());
  ASSERT_TRUE(keyboard.isReady()) << keyboard.errors().toStdString();
  // The key reaches sway: a binding on it runs.
  sway.swaymsg({QStringLiteral("bindsym"), QStringLiteral("F8"), QStringLiteral("exec"),
                QStringLiteral("touch %1/f8").arg(sway.runtimeDir())});
  ASSERT_TRUE(keyboard.tap(test::WaylandKeyboard::kF8));
  QDeadlineTimer deadline(5000);
  while (!QFile::exists(sway.runtimeDir() + QStringLiteral("/f8")) && !deadline.hasExpired()) {
    QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
  }
  EXPECT_TRUE(QFile::exists(sway.runtimeDir() + QStringLiteral("/f8")));
}

}  // namespace
}  // namespace pellum
