// `pellum dictate ...` end to end: the real desktop program with the
// command backend (the key a Wayland desktop binds to these commands), and
// a second `pellum` that hands each gesture over the single-instance
// channel. A press and a release with nothing said is a whole dictation:
// the server answers "no speech detected", and the program logs it.
#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <cstdio>

#include "desktop_program.h"
#include "server_process.h"
#include "support/event_loop.h"
#include "support/pulse_server.h"
#include "support/xvfb_display.h"

namespace pellum {
namespace {

using namespace std::chrono_literals;

struct Outcome {
  int exitCode = -1;
  QString errors;
  double milliseconds = 0;
};

Outcome dictate(const QString& runtimeDir, const QString& word) {
  QProcess command;
  auto environment = QProcessEnvironment::systemEnvironment();
  environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtimeDir);
  command.setProcessEnvironment(environment);
  QElapsedTimer clock;
  clock.start();
  command.start(QStringLiteral(PELLUM_BINARY), {QStringLiteral("dictate"), word});
  if (!command.waitForFinished(10000)) return {};
  return {command.exitStatus() == QProcess::NormalExit ? command.exitCode() : -1,
          QString::fromUtf8(command.readAllStandardError()), clock.nsecsElapsed() / 1e6};
}

TEST(DictateCommandE2ETest, PressReleaseToggleAndCancelReachTheRunningProgram) {
  test::PulseServer pulse;
  ASSERT_TRUE(pulse.isRunning());
  server::test::ServerProcess server;
  ASSERT_TRUE(server.started());
  test::XvfbDisplay display;
  ASSERT_TRUE(display.isRunning());
  QTemporaryDir config;
  qputenv("PELLUM_HOTKEY_BACKEND", "command");
  test::DesktopProgram pellum(server, server.addDevice("dictate command"), config.path(),
                              pulse.serverAddress());
  qunsetenv("PELLUM_HOTKEY_BACKEND");
  ASSERT_TRUE(
      pellum.waitForLog(QStringLiteral("HotkeyManager: hold the key bound to `pellum dictate` to dictate")))
      << pellum.log().toStdString();
  const QString runtime = config.path() + QStringLiteral("/runtime");
  const QString ended = QStringLiteral("Streaming non-recoverable: No speech detected");

  const Outcome press = dictate(runtime, QStringLiteral("press"));
  ASSERT_EQ(press.exitCode, 0) << press.errors.toStdString();
  std::printf("pellum dictate press ran for %.1f ms\n", press.milliseconds);
  test::spin(300ms);
  ASSERT_EQ(dictate(runtime, QStringLiteral("release")).exitCode, 0);
  ASSERT_TRUE(pellum.waitForLog(ended)) << pellum.log().toStdString();

  ASSERT_EQ(dictate(runtime, QStringLiteral("toggle")).exitCode, 0);
  test::spin(300ms);
  ASSERT_EQ(dictate(runtime, QStringLiteral("cancel")).exitCode, 0);
  ASSERT_TRUE(pellum.waitForLog(QStringLiteral("Pellum: dictation cancelled"))) << pellum.log().toStdString();

  // After a cancel the next toggle starts a new dictation, and one more ends it.
  ASSERT_EQ(dictate(runtime, QStringLiteral("toggle")).exitCode, 0);
  test::spin(300ms);
  ASSERT_EQ(dictate(runtime, QStringLiteral("toggle")).exitCode, 0);
  ASSERT_TRUE(test::waitUntil([&] { return pellum.countInLog(ended) == 2; }, 10s))
      << pellum.log().toStdString();
}

TEST(DictateCommandE2ETest, WithoutARunningProgramItFailsAndSaysSo) {
  QTemporaryDir runtime;
  const Outcome outcome = dictate(runtime.path(), QStringLiteral("press"));
  EXPECT_EQ(outcome.exitCode, 1);
  EXPECT_TRUE(outcome.errors.contains(QStringLiteral("Pellum is not running")))
      << outcome.errors.toStdString();
}

TEST(DictateCommandE2ETest, AnUnknownGestureIsAUsageError) {
  QTemporaryDir runtime;
  const Outcome outcome = dictate(runtime.path(), QStringLiteral("start"));
  EXPECT_EQ(outcome.exitCode, 2);
  EXPECT_TRUE(outcome.errors.contains(QStringLiteral("Usage: pellum dictate")))
      << outcome.errors.toStdString();
}

}  // namespace
}  // namespace pellum
