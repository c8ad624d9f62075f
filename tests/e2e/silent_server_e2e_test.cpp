// A server that accepts every connection and never answers (a hung process,
// a proxy with a dead upstream), scripted because a real pellum-server never
// does this. The desktop program must still end the dictation on its own
// deadlines: the live handshake gives up, the upload gives up, the overlay
// goes and nothing is pasted.
#include <gtest/gtest.h>

#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <vector>

#include <xcb/xcb.h>

#include "desktop_program.h"
#include "support/event_loop.h"
#include "support/probe_process.h"
#include "support/pulse_server.h"
#include "support/x_windows.h"
#include "support/xtest_keyboard.h"

namespace pellum {
namespace {

using namespace std::chrono_literals;
using test::waitUntil;

// Accepts, reads and drops whatever comes, answers nothing.
class ScriptedSilentServer {
 public:
  ScriptedSilentServer() {
    server_.listen(QHostAddress::LocalHost, 0);
    QObject::connect(&server_, &QTcpServer::newConnection, [this] {
      while (QTcpSocket* socket = server_.nextPendingConnection()) {
        ++connections;
        QObject::connect(socket, &QTcpSocket::readyRead, socket, [socket] { socket->readAll(); });
      }
    });
  }
  QString url() const { return QStringLiteral("http://127.0.0.1:%1").arg(server_.serverPort()); }
  int connections = 0;

 private:
  QTcpServer server_;
};

TEST(SilentServerE2ETest, ScriptedServerThatNeverAnswersEndsTheDictationOnTheClientsDeadlines) {
  test::PulseServer pulse;
  ASSERT_TRUE(pulse.isRunning());
  ScriptedSilentServer silent;
  QTemporaryDir config;
  test::DesktopProgram pellum(silent.url(), silent.url(), "a-token", config.path(), pulse.serverAddress());
  ASSERT_TRUE(pellum.waitForLog(QStringLiteral("HotkeyManager: hold Right Ctrl to dictate")));
  test::ProbeProcess field;
  ASSERT_TRUE(field.waitUntilReady());
  xcb_connection_t* display = xcb_connect(nullptr, nullptr);
  test::XTestKeyboard keyboard;

  ASSERT_TRUE(keyboard.press("Control_R"));
  ASSERT_TRUE(waitUntil([&] { return pulse.recordStreams() > 0; }, 10s)) << pellum.log().toStdString();
  ASSERT_TRUE(waitUntil([&] { return !test::viewableWindowsOf(display, "pellum").empty(); }, 5s));
  ASSERT_TRUE(keyboard.release("Control_R"));

  // The handshake deadline, then the upload's own.
  ASSERT_TRUE(pellum.waitForLog(
      QStringLiteral("Gladia failed (state .failed: the server did not accept the connection"), 20s))
      << pellum.log().toStdString();
  ASSERT_TRUE(pellum.waitForLog(QStringLiteral("Groq fallback failed: "), 90s)) << pellum.log().toStdString();
  EXPECT_GE(silent.connections, 2);
  EXPECT_TRUE(waitUntil([&] { return test::viewableWindowsOf(display, "pellum").empty(); }, 5s));
  EXPECT_TRUE(field.text().isEmpty());
  xcb_disconnect(display);
}

}  // namespace
}  // namespace pellum
