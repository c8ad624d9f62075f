#include "desktop_program.h"

#include <QDir>
#include <QFile>
#include <QProcessEnvironment>

#include "support/event_loop.h"

namespace pellum::test {

DesktopProgram::DesktopProgram(const server::test::ServerProcess& server, const std::string& token,
                               const QString& configHome, const QString& pulseServer)
    : DesktopProgram(QStringLiteral("http://127.0.0.1:%1").arg(server.transcribePort()),
                     QStringLiteral("http://127.0.0.1:%1").arg(server.webPort()), token, configHome,
                     pulseServer) {}

DesktopProgram::DesktopProgram(const QString& transcribeUrl, const QString& webUrl, const std::string& token,
                               const QString& configHome, const QString& pulseServer) {
  auto environment = QProcessEnvironment::systemEnvironment();
  environment.insert(QStringLiteral("PELLUM_TRANSCRIBE_URL"), transcribeUrl);
  environment.insert(QStringLiteral("PELLUM_WEB_URL"), webUrl);
  environment.insert(QStringLiteral("PELLUM_TOKEN"), QString::fromStdString(token));
  environment.insert(QStringLiteral("XDG_CONFIG_HOME"), configHome);
  // The recent dictations go here, not to the tester's own data folder.
  dataHome_ = configHome + QStringLiteral("/data");
  environment.insert(QStringLiteral("XDG_DATA_HOME"), dataHome_);
  // A runtime directory of its own: one Pellum runs per session, and each
  // test is a session of its own (the single-instance socket lives there).
  const QString runtime = configHome + QStringLiteral("/runtime");
  QDir().mkpath(runtime);
  QFile::setPermissions(runtime, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
  environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtime);
  environment.insert(QStringLiteral("PULSE_SERVER"), pulseServer);
  environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
  process_.setProcessEnvironment(environment);
  process_.setProcessChannelMode(QProcess::MergedChannels);
  process_.start(QStringLiteral(PELLUM_BINARY), {});
}

DesktopProgram::~DesktopProgram() {
  process_.terminate();
  if (!process_.waitForFinished(3000)) process_.kill();
}

bool DesktopProgram::waitForLog(const QString& line, std::chrono::milliseconds timeout) {
  return waitUntil(
      [&] {
        log_ += process_.readAll();
        return log_.contains(line.toUtf8());
      },
      timeout);
}

int DesktopProgram::countInLog(const QString& line) { return static_cast<int>(log().count(line.toUtf8())); }

QByteArray DesktopProgram::log() {
  log_ += process_.readAll();
  return log_;
}

nlohmann::json DesktopProgram::newestDictation() const {
  const auto history = [this] {
    QProcess command;
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_DATA_HOME"), dataHome_);
    command.setProcessEnvironment(environment);
    command.start(QStringLiteral(PELLUM_BINARY), {QStringLiteral("history"), QStringLiteral("--json")});
    if (!command.waitForFinished(10000) || command.exitCode() != 0) return nlohmann::json();
    return nlohmann::json::parse(command.readAllStandardOutput().toStdString(), nullptr, false);
  };
  nlohmann::json entries;
  waitUntil(
      [&] {
        entries = history();
        return entries.is_array() && !entries.empty();
      },
      std::chrono::seconds(3));
  return entries.is_array() && !entries.empty() ? entries[0] : nlohmann::json();
}

}  // namespace pellum::test
