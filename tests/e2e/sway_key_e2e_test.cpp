// The desktop program in a sway session, its own windows on XWayland as a
// user's would be: it binds the dictation key over sway's IPC socket by itself, and a hold of the key from a
// keyboard on sway's seat is a whole dictation (nothing said: the server answers "no speech detected", and
// the program logs it).
#include <gtest/gtest.h>

#include <QTemporaryDir>

#include "desktop_program.h"
#include "server_process.h"
#include "support/event_loop.h"
#include "support/pulse_server.h"
#include "support/sway_session.h"
#include "support/wayland_keyboard.h"

namespace pellum {
namespace {

using namespace std::chrono_literals;
using test::WaylandKeyboard;

TEST(SwayKeyE2ETest, HoldingTheKeyInSwayDictates) {
  test::PulseServer pulse;
  ASSERT_TRUE(pulse.isRunning());
  server::test::ServerProcess server;
  ASSERT_TRUE(server.started());
  test::SwaySession sway;
  ASSERT_TRUE(sway.isRunning()) << sway.failure().toStdString();
  ASSERT_FALSE(sway.xDisplay().isEmpty()) << sway.log().toStdString();
  WaylandKeyboard keyboard(sway.clientEnvironment());
  ASSERT_TRUE(keyboard.isReady()) << keyboard.errors().toStdString();
  QTemporaryDir config;
  {
    test::DesktopProgram pellum(server, server.addDevice("sway key"), config.path(), pulse.serverAddress());
    ASSERT_TRUE(pellum.waitForLog(QStringLiteral("HotkeyManager: hold Right Ctrl to dictate")))
        << pellum.log().toStdString();
    ASSERT_TRUE(keyboard.down(WaylandKeyboard::kRightCtrl));
    test::spin(300ms);
    ASSERT_TRUE(keyboard.up(WaylandKeyboard::kRightCtrl));
    EXPECT_TRUE(pellum.waitForLog(QStringLiteral("Streaming non-recoverable: No speech detected")))
        << pellum.log().toStdString();
  }
}

}  // namespace
}  // namespace pellum
