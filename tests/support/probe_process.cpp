#include "support/probe_process.h"

#include <QProcessEnvironment>

#include "support/event_loop.h"

namespace pellum::test {

ProbeProcess::ProbeProcess(const QString& windowClass) {
  auto environment = QProcessEnvironment::systemEnvironment();
  environment.insert(QStringLiteral("RESOURCE_NAME"), windowClass);
  environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
  process_.setProcessEnvironment(environment);
  process_.start(QStringLiteral(PELLUM_TEXT_FIELD_PROBE), {QStringLiteral("--class"), windowClass});
}

ProbeProcess::~ProbeProcess() {
  process_.kill();
  process_.waitForFinished(2000);
}

void ProbeProcess::collect() {
  pending_ += process_.readAllStandardOutput();
  qsizetype newline;
  while ((newline = pending_.indexOf('\n')) >= 0) {
    lines_.append(QString::fromUtf8(pending_.left(newline)));
    pending_.remove(0, newline + 1);
  }
}

bool ProbeProcess::waitUntilReady() { return waitForLine(QStringLiteral("ready"), 10000); }

bool ProbeProcess::waitForLine(const QString& line, int timeoutMs) {
  return waitUntil(
      [&] {
        collect();
        return lines_.contains(line);
      },
      std::chrono::milliseconds(timeoutMs));
}

QString ProbeProcess::text() {
  collect();
  for (auto it = lines_.crbegin(); it != lines_.crend(); ++it) {
    if (it->startsWith(QStringLiteral("text:"))) return it->mid(5);
  }
  return {};
}

const QStringList& ProbeProcess::lines() {
  collect();
  return lines_;
}

}  // namespace pellum::test
