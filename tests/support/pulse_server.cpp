#include "support/pulse_server.h"

#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>
#include <QThread>
#include <csignal>

namespace pellum::test {
namespace {

int runQuietly(const QString& program, const QStringList& arguments, const QProcessEnvironment& environment,
               int timeoutMs = 15000) {
  QProcess process;
  process.setProcessEnvironment(environment);
  process.start(program, arguments);
  if (!process.waitForFinished(timeoutMs)) {
    process.kill();
    return -1;
  }
  return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

}  // namespace

PulseServer::PulseServer() {
  if (!runtime_.isValid()) return;
  auto environment = QProcessEnvironment::systemEnvironment();
  environment.insert(QStringLiteral("PULSE_RUNTIME_PATH"), runtime_.path());
  environment.remove(QStringLiteral("PULSE_SERVER"));
  const QString socket = runtime_.filePath(QStringLiteral("native"));
  const int status = runQuietly(
      QStringLiteral("pulseaudio"),
      {QStringLiteral("--daemonize=yes"), QStringLiteral("--exit-idle-time=-1"), QStringLiteral("-n"),
       QStringLiteral("--use-pid-file=yes"), QStringLiteral("--disable-shm=yes"),
       QStringLiteral("--log-target=stderr"), QStringLiteral("-L"),
       QStringLiteral("module-native-protocol-unix auth-anonymous=1 socket=") + socket, QStringLiteral("-L"),
       QStringLiteral("module-null-sink sink_name=vsink rate=16000 channels=1"), QStringLiteral("-L"),
       QStringLiteral(
           "module-remap-source source_name=testmic master=vsink.monitor channels=1 channel_map=mono")},
      environment);
  if (status != 0) return;
  qputenv("PULSE_SERVER", serverAddress().toUtf8());
  running_ = pactl({QStringLiteral("set-default-source"), QStringLiteral("testmic")}) == 0;
}

PulseServer::~PulseServer() {
  qunsetenv("PULSE_SERVER");
  QFile pidFile(runtime_.filePath(QStringLiteral("pid")));
  if (pidFile.open(QIODevice::ReadOnly)) {
    const int pid = pidFile.readAll().trimmed().toInt();
    if (pid > 0 && ::kill(pid, SIGTERM) == 0) {
      // Wait for it to go, so its runtime directory can be removed.
      for (int i = 0; i < 200 && ::kill(pid, 0) == 0; ++i) QThread::msleep(10);
    }
  }
}

QString PulseServer::serverAddress() const {
  return QStringLiteral("unix:") + runtime_.filePath(QStringLiteral("native"));
}

int PulseServer::pactl(const QStringList& arguments) const {
  auto environment = QProcessEnvironment::systemEnvironment();
  environment.insert(QStringLiteral("PULSE_SERVER"), serverAddress());
  return runQuietly(QStringLiteral("pactl"), arguments, environment);
}

int PulseServer::recordStreams() const {
  QProcess process;
  auto environment = QProcessEnvironment::systemEnvironment();
  environment.insert(QStringLiteral("PULSE_SERVER"), serverAddress());
  process.setProcessEnvironment(environment);
  process.start(QStringLiteral("pactl"),
                {QStringLiteral("list"), QStringLiteral("short"), QStringLiteral("source-outputs")});
  if (!process.waitForFinished(5000)) return -1;
  int streams = 0;
  // Modules (the remap behind the virtual microphone) record too; clients
  // come in through the native protocol.
  for (const QByteArray& line : process.readAllStandardOutput().split('\n')) {
    streams += line.contains("protocol-native") ? 1 : 0;
  }
  return streams;
}

bool PulseServer::play(const QString& wavPath) const {
  auto environment = QProcessEnvironment::systemEnvironment();
  environment.insert(QStringLiteral("PULSE_SERVER"), serverAddress());
  return runQuietly(
             QStringLiteral("paplay"),
             {QStringLiteral("-d"), QStringLiteral("vsink"), QStringLiteral("--latency-msec=30"), wavPath},
             environment, 60000) == 0;
}

}  // namespace pellum::test
