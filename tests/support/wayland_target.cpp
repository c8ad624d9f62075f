#include "support/wayland_target.h"

#include <QFile>

#include "support/event_loop.h"

namespace pellum::test {

using namespace std::chrono_literals;

WaylandTarget::WaylandTarget(SwaySession& sway, Kind kind, bool x11) : sway_(sway), kind_(kind), x11_(x11) {
  process_.setProcessEnvironment(sway.clientEnvironment(x11));
  switch (kind) {
    case Kind::foot:
      process_.start(QStringLiteral("foot"),
                     {QStringLiteral("sh"), QStringLiteral("-c"),
                      QStringLiteral("IFS= read -r line; printf '%s' \"$line\" > '%1'")
                          .arg(dir_.filePath(QStringLiteral("line")))});
      break;
    case Kind::gtk:
      process_.start(QStringLiteral("zenity"), {QStringLiteral("--entry"), QStringLiteral("--title=target")});
      break;
    case Kind::qt:
      process_.start(QStringLiteral(PELLUM_TEXT_FIELD_PROBE),
                     {QStringLiteral("--class"), QStringLiteral("probe")});
      break;
  }
}

WaylandTarget::~WaylandTarget() {
  process_.kill();
  process_.waitForFinished(2000);
}

QString WaylandTarget::appName() const {
  switch (kind_) {
    case Kind::foot:
      return QStringLiteral("foot");
    case Kind::gtk:
      return QStringLiteral("zenity");
    // A Qt window on Wayland is named after its executable.
    case Kind::qt:
      return x11_ ? QStringLiteral("probe") : QStringLiteral("text_field_probe");
  }
  return {};
}

QString WaylandTarget::describe() const {
  return appName() + (x11_ ? QStringLiteral(" under XWayland") : QStringLiteral(" on Wayland"));
}

bool WaylandTarget::waitUntilFocused() {
  if (kind_ == Kind::qt && !waitUntil(
                               [&] {
                                 output_ += process_.readAllStandardOutput();
                                 return output_.startsWith("ready\n") || output_.contains("\nready\n");
                               },
                               10s)) {
    return false;
  }
  return sway_.waitForFocus(appName());
}

QString WaylandTarget::currentText() {
  if (kind_ != Kind::qt) return {};
  output_ += process_.readAllStandardOutput();
  const auto start = output_.lastIndexOf("text:");
  if (start < 0) return {};
  const auto end = output_.indexOf('\n', start);
  return QString::fromUtf8(output_.mid(start + 5, end < 0 ? -1 : end - start - 5));
}

QString WaylandTarget::finish(WaylandKeyboard& keyboard, int timeoutMs) {
  if (kind_ == Kind::qt) return currentText();
  keyboard.tap(WaylandKeyboard::kEnter);
  waitUntil([&] { return process_.state() == QProcess::NotRunning; }, std::chrono::milliseconds(timeoutMs));
  if (kind_ == Kind::gtk) {
    QByteArray printed = process_.readAllStandardOutput();
    if (printed.endsWith('\n')) printed.chop(1);
    return QString::fromUtf8(printed);
  }
  QFile line(dir_.filePath(QStringLiteral("line")));
  return line.open(QIODevice::ReadOnly) ? QString::fromUtf8(line.readAll()) : QString();
}

}  // namespace pellum::test
