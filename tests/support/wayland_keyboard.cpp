#include "support/wayland_keyboard.h"

#include <QDeadlineTimer>

namespace pellum::test {

WaylandKeyboard::WaylandKeyboard(const QProcessEnvironment& environment, const QString& layout) {
  process_.setProcessEnvironment(environment);
  process_.start(QStringLiteral(PELLUM_WAYLAND_KEY_TOOL), {QStringLiteral("--layout"), layout});
  ready_ = process_.waitForStarted(5000) && waitForLine("ready", 10000);
}

WaylandKeyboard::~WaylandKeyboard() {
  process_.closeWriteChannel();
  if (!process_.waitForFinished(3000)) process_.kill();
  process_.waitForFinished(1000);
}

QString WaylandKeyboard::errors() { return QString::fromUtf8(process_.readAllStandardError()); }

bool WaylandKeyboard::send(const QString& command) {
  if (!ready_) return false;
  process_.write(command.toUtf8() + '\n');
  return waitForLine("ok", 5000);
}

bool WaylandKeyboard::waitForLine(const QByteArray& line, int timeoutMs) {
  QDeadlineTimer deadline(timeoutMs);
  while (true) {
    pending_ += process_.readAllStandardOutput();
    const auto end = pending_.indexOf('\n');
    if (end >= 0) {
      const QByteArray got = pending_.left(end);
      pending_.remove(0, end + 1);
      if (got == line) return true;
      continue;
    }
    if (deadline.hasExpired() || process_.state() != QProcess::Running) return false;
    process_.waitForReadyRead(static_cast<int>(qMax<qint64>(1, deadline.remainingTime())));
  }
}

}  // namespace pellum::test
