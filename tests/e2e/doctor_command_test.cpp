// `pellum doctor` as a user runs it, as a separate process, in a session
// built from real parts: an X server (Xvfb), a PulseAudio daemon with a
// virtual microphone, gnome-keyring on a private session bus, the real
// pellum-server on loopback, the desktop entry installed and registered for
// the sign-in links. Then the same with one piece taken away at a time.
#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include "server_process.h"
#include "support/event_loop.h"
#include "support/gnome_keyring.h"
#include "support/pulse_server.h"
#include "support/xvfb_display.h"

namespace pellum {
namespace {

using namespace std::chrono_literals;
using test::waitUntil;

test::GnomeKeyring& keyring() {
  static test::GnomeKeyring instance;
  return instance;
}

struct Report {
  int status = -1;
  QStringList lines;
  QString text;

  // The report's line about `topic` ("✓ Server: …"), empty when none.
  QString about(const QString& topic) const {
    for (const QString& line : lines) {
      if (line.mid(2).startsWith(topic + QStringLiteral(": "))) return line;
    }
    return {};
  }
  // The hint printed under the line about `topic`.
  QString hintFor(const QString& topic) const {
    const qsizetype at = lines.indexOf(about(topic));
    if (at < 0 || at + 1 >= lines.size() || !lines[at + 1].startsWith(QStringLiteral("    \u2192 ")))
      return {};
    return lines[at + 1].mid(6);
  }
};

class DoctorCommandTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(display_.isRunning());
    ASSERT_TRUE(pulse_.isRunning());
    ASSERT_TRUE(keyring().isRunning());
    ASSERT_TRUE(server_.started()) << server_.output();
    environment_ = QProcessEnvironment::systemEnvironment();
    environment_.insert(QStringLiteral("PELLUM_TRANSCRIBE_URL"),
                        QStringLiteral("http://127.0.0.1:%1").arg(server_.transcribePort()));
    environment_.insert(QStringLiteral("PELLUM_TOKEN"), QString::fromStdString(server_.addDevice("doctor")));
    environment_.insert(QStringLiteral("PULSE_SERVER"), pulse_.serverAddress());
    environment_.insert(QStringLiteral("XDG_RUNTIME_DIR"), home_.filePath(QStringLiteral("runtime")));
    environment_.insert(QStringLiteral("XDG_CONFIG_HOME"), home_.filePath(QStringLiteral("config")));
    environment_.insert(QStringLiteral("XDG_DATA_HOME"), home_.filePath(QStringLiteral("data")));
    // Not the system's folders: the packaging tests may install Pellum there
    // while these run.
    environment_.insert(QStringLiteral("XDG_DATA_DIRS"), home_.filePath(QStringLiteral("system-data")));
    environment_.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    environment_.remove(QStringLiteral("WAYLAND_DISPLAY"));
    environment_.remove(QStringLiteral("PELLUM_HOTKEY_BACKEND"));
    QDir(home_.path()).mkpath(QStringLiteral("runtime"));
    QFile::setPermissions(home_.filePath(QStringLiteral("runtime")),
                          QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    installDesktopEntry();
  }

  // What the package installs, in the user's own data folder, and the
  // scheme registered as the desktop does it.
  void installDesktopEntry() {
    QDir(home_.path()).mkpath(QStringLiteral("data/applications"));
    QFile entry(home_.filePath(QStringLiteral("data/applications/pellum.desktop")));
    ASSERT_TRUE(entry.open(QIODevice::WriteOnly));
    entry.write(
        "[Desktop Entry]\nType=Application\nName=Pellum\nExec=pellum %u\n"
        "MimeType=x-scheme-handler/pellum;\n");
    entry.close();
    QDir(home_.path()).mkpath(QStringLiteral("config"));
    QProcess mime;
    mime.setProcessEnvironment(environment_);
    mime.start(QStringLiteral("xdg-mime"), {QStringLiteral("default"), QStringLiteral("pellum.desktop"),
                                            QStringLiteral("x-scheme-handler/pellum")});
    ASSERT_TRUE(mime.waitForFinished(10000));
    ASSERT_EQ(mime.exitCode(), 0) << mime.readAllStandardError().toStdString();
  }

  Report doctor() {
    QProcess process;
    process.setProcessEnvironment(environment_);
    process.start(QStringLiteral(PELLUM_BINARY), {QStringLiteral("doctor")});
    Report report;
    if (!process.waitForStarted()) return report;
    if (!waitUntil([&] { return process.state() == QProcess::NotRunning; }, 120s)) process.kill();
    process.waitForFinished();
    report.status = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    report.text = QString::fromUtf8(process.readAllStandardOutput()) +
                  QString::fromUtf8(process.readAllStandardError());
    report.lines = QString::fromUtf8(report.text.toUtf8()).split('\n', Qt::SkipEmptyParts);
    return report;
  }

  test::XvfbDisplay display_;
  test::PulseServer pulse_;
  server::test::ServerProcess server_;
  QTemporaryDir home_;
  QProcessEnvironment environment_;
};

TEST_F(DoctorCommandTest, AHealthySessionIsAllTicks) {
  const Report report = doctor();
  EXPECT_EQ(report.status, 0) << report.text.toStdString();
  for (const QString& line : report.lines) {
    EXPECT_FALSE(line.startsWith(QStringLiteral("\u2717"))) << line.toStdString();
  }
  EXPECT_TRUE(report.about(QStringLiteral("Desktop session"))
                  .startsWith(QStringLiteral("\u2713 Desktop session: X11")))
      << report.text.toStdString();
  EXPECT_EQ(report.about(QStringLiteral("Backends")),
            QStringLiteral("\u2013 Backends: key x11, paste x11, overlay x11, keyboard language xkb"));
  EXPECT_EQ(report.about(QStringLiteral("Dictation key")),
            QStringLiteral("\u2713 Dictation key: Right Ctrl can be held"));
  EXPECT_TRUE(report.about(QStringLiteral("Paste")).startsWith(QStringLiteral("\u2713")));
  EXPECT_TRUE(report.about(QStringLiteral("Microphone")).startsWith(QStringLiteral("\u2713")));
  EXPECT_EQ(report.about(QStringLiteral("Keyring")),
            QStringLiteral("\u2713 Keyring: the Secret Service answers (org.freedesktop.secrets)"));
  EXPECT_EQ(report.about(QStringLiteral("Sign-in")),
            QStringLiteral("\u2713 Sign-in: a device token from PELLUM_TOKEN"));
  EXPECT_EQ(report.about(QStringLiteral("Server")),
            QStringLiteral("\u2713 Server: http://127.0.0.1:%1 answers and accepts this device")
                .arg(server_.transcribePort()));
  EXPECT_EQ(report.about(QStringLiteral("Speech engines")),
            QStringLiteral("\u2713 Speech engines: live: pocketsphinx (local, English)"));
  EXPECT_TRUE(report.about(QStringLiteral("Desktop entry"))
                  .endsWith(QStringLiteral("data/applications/pellum.desktop")));
  EXPECT_EQ(report.about(QStringLiteral("Sign-in links")),
            QStringLiteral("\u2713 Sign-in links: pellum: links open Pellum"));
}

TEST_F(DoctorCommandTest, AStoppedServerIsMissingWithHowToStartIt) {
  server_.terminate();
  const Report report = doctor();
  EXPECT_EQ(report.status, 1) << report.text.toStdString();
  EXPECT_TRUE(report.about(QStringLiteral("Server"))
                  .startsWith(QStringLiteral("\u2717 Server: http://127.0.0.1:%1 cannot be reached")
                                  .arg(server_.transcribePort())))
      << report.text.toStdString();
  EXPECT_EQ(report.hintFor(QStringLiteral("Server")),
            QStringLiteral("start it: systemctl --user start pellum-server (installed) or make run (from the "
                           "source tree)"));
}

TEST_F(DoctorCommandTest, ARevokedDeviceIsToldToSignInAgain) {
  environment_.insert(QStringLiteral("PELLUM_TOKEN"), QStringLiteral("not-a-token-the-server-knows"));
  const Report report = doctor();
  EXPECT_EQ(report.status, 1);
  EXPECT_TRUE(report.about(QStringLiteral("Server")).endsWith(QStringLiteral("refuses this device's token")))
      << report.text.toStdString();
  EXPECT_TRUE(report.hintFor(QStringLiteral("Server")).startsWith(QStringLiteral("sign in again")));
}

TEST_F(DoctorCommandTest, NoKeyringIsMissingWithAHint) {
  environment_.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"),
                      QStringLiteral("unix:path=") + home_.filePath(QStringLiteral("no-bus")));
  const Report report = doctor();
  EXPECT_EQ(report.status, 1) << report.text.toStdString();
  EXPECT_EQ(report.about(QStringLiteral("Keyring")),
            QStringLiteral("\u2717 Keyring: no D-Bus session bus, so no Secret Service"));
  EXPECT_EQ(report.hintFor(QStringLiteral("Keyring")),
            QStringLiteral("run inside your desktop session (DBUS_SESSION_BUS_ADDRESS)"));
}

TEST_F(DoctorCommandTest, NoDesktopEntryAndNoSoundServer) {
  QFile::remove(home_.filePath(QStringLiteral("data/applications/pellum.desktop")));
  environment_.insert(QStringLiteral("PULSE_SERVER"),
                      QStringLiteral("unix:") + home_.filePath(QStringLiteral("no-pulse")));
  const Report report = doctor();
  EXPECT_EQ(report.status, 1);
  EXPECT_EQ(report.about(QStringLiteral("Desktop entry")),
            QStringLiteral("\u2717 Desktop entry: pellum.desktop is not installed"));
  EXPECT_EQ(report.about(QStringLiteral("Sound server")),
            QStringLiteral("\u2717 Sound server: no PulseAudio or PipeWire sound server answers"))
      << report.text.toStdString();
  EXPECT_TRUE(report.hintFor(QStringLiteral("Sound server")).startsWith(QStringLiteral("start it: ")));
}

TEST_F(DoctorCommandTest, ArgumentsAreAUsageError) {
  QProcess process;
  process.start(QStringLiteral(PELLUM_BINARY), {QStringLiteral("doctor"), QStringLiteral("--verbose")});
  ASSERT_TRUE(process.waitForFinished(30000));
  EXPECT_EQ(process.exitCode(), 2);
  EXPECT_EQ(process.readAllStandardError(), "pellum doctor: takes no arguments\n");
}

}  // namespace
}  // namespace pellum
