#include "support/xvfb_display.h"

#include <QProcessEnvironment>

namespace pellum::test {

XvfbDisplay::XvfbDisplay() : previousDisplay_(qgetenv("DISPLAY")) {
  // -displayfd makes Xvfb pick a free display and print its number once it
  // accepts connections, so parallel test programs never collide. -noreset
  // keeps what clients set (keymaps, properties) after they disconnect.
  server_.start(QStringLiteral("Xvfb"),
                {QStringLiteral("-displayfd"), QStringLiteral("1"), QStringLiteral("-noreset"),
                 QStringLiteral("-nolisten"), QStringLiteral("tcp"), QStringLiteral("-screen"),
                 QStringLiteral("0"), QStringLiteral("1280x800x24")});
  if (!server_.waitForStarted(5000)) return;
  QByteArray number;
  while (!number.contains('\n') && server_.waitForReadyRead(10000)) number += server_.readAllStandardOutput();
  number = number.trimmed();
  if (number.isEmpty()) return;
  name_ = QStringLiteral(":") + QString::fromLatin1(number);
  qputenv("DISPLAY", name_.toLatin1());
}

XvfbDisplay::~XvfbDisplay() {
  if (previousDisplay_.isEmpty()) {
    qunsetenv("DISPLAY");
  } else {
    qputenv("DISPLAY", previousDisplay_);
  }
  server_.terminate();
  if (!server_.waitForFinished(3000)) server_.kill();
  server_.waitForFinished(1000);
}

int XvfbDisplay::run(const QString& program, const QStringList& arguments) const {
  QProcess process;
  auto environment = QProcessEnvironment::systemEnvironment();
  environment.insert(QStringLiteral("DISPLAY"), name_);
  process.setProcessEnvironment(environment);
  process.start(program, arguments);
  if (!process.waitForFinished(10000)) return -1;
  return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

}  // namespace pellum::test
