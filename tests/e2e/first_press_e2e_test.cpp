// The first press of the dictation key in a fresh desktop session, with a
// GTK application that has just mapped and taken the focus. Each round is a
// new X server, a new pellum and a new GTK client, so whatever happens once
// per session (the first XTest device switch and the keymap notifications
// it sends, GTK's start-up) happens in every round. A press and a release
// with nothing said is a whole dictation: the server answers "no speech
// detected", and the program logs it.
#include <gtest/gtest.h>

#include <QTemporaryDir>
#include <thread>

#include "desktop_program.h"
#include "server_process.h"
#include "support/event_loop.h"
#include "support/gtk_entry_process.h"
#include "support/pulse_server.h"
#include "support/xvfb_display.h"

namespace pellum {
namespace {

using namespace std::chrono_literals;

TEST(FirstPressE2ETest, TwentyFreshSessionsEachGetTheirFirstDictationWithAGtkApplicationFocused) {
  test::PulseServer pulse;
  ASSERT_TRUE(pulse.isRunning());
  server::test::ServerProcess server;
  ASSERT_TRUE(server.started());
  const std::string token = server.addDevice("first press");
  const QString ended = QStringLiteral("Streaming non-recoverable: No speech detected");
  constexpr int kRounds = 20;
  constexpr auto kHold = 200ms;
  int dictations = 0;
  for (int round = 0; round < kRounds; ++round) {
    test::XvfbDisplay display;
    ASSERT_TRUE(display.isRunning());
    QTemporaryDir config;
    test::DesktopProgram pellum(server, token, config.path(), pulse.serverAddress());
    ASSERT_TRUE(pellum.waitForLog(QStringLiteral("HotkeyManager: hold Right Ctrl to dictate")))
        << pellum.log().toStdString();
    test::GtkEntryProcess gtk;
    ASSERT_TRUE(gtk.waitUntilFocused()) << "round " << round;
    // xdotool, as a user scripting the key would: each of its calls is a
    // new X client sending one XTest event.
    ASSERT_EQ(
        display.run(QStringLiteral("xdotool"), {QStringLiteral("keydown"), QStringLiteral("Control_R")}), 0);
    std::this_thread::sleep_for(kHold);
    ASSERT_EQ(display.run(QStringLiteral("xdotool"), {QStringLiteral("keyup"), QStringLiteral("Control_R")}),
              0);
    if (pellum.waitForLog(ended, 5s)) {
      ++dictations;
    } else {
      ADD_FAILURE() << "round " << round << " lost the first press:\n" << pellum.log().toStdString();
    }
  }
  EXPECT_EQ(dictations, kRounds);
}

}  // namespace
}  // namespace pellum
