#pragma once

#include <QProcess>
#include <QProcessEnvironment>
#include <QString>

namespace pellum::test {

// A key board for Wayland tests: one virtual keyboard on the session's seat
// (wayland_key_tool), kept for the object's life. Each call returns once the
// compositor has taken the key.
class WaylandKeyboard {
 public:
  // evdev key codes used by the tests.
  static constexpr unsigned kRightCtrl = 97;
  static constexpr unsigned kLeftShift = 42;
  static constexpr unsigned kLeftCtrl = 29;
  static constexpr unsigned kEnter = 28;
  static constexpr unsigned kEscape = 1;
  static constexpr unsigned kF8 = 66;
  static constexpr unsigned kA = 30;

  explicit WaylandKeyboard(const QProcessEnvironment& environment,
                           const QString& layout = QStringLiteral("us"));
  ~WaylandKeyboard();
  WaylandKeyboard(const WaylandKeyboard&) = delete;
  WaylandKeyboard& operator=(const WaylandKeyboard&) = delete;

  bool isReady() const { return ready_; }
  QString errors();

  bool down(unsigned code) { return send(QStringLiteral("down %1").arg(code)); }
  bool up(unsigned code) { return send(QStringLiteral("up %1").arg(code)); }
  bool tap(unsigned code) { return send(QStringLiteral("tap %1").arg(code)); }

 private:
  bool send(const QString& command);
  bool waitForLine(const QByteArray& line, int timeoutMs);

  QProcess process_;
  QByteArray pending_;
  bool ready_ = false;
};

}  // namespace pellum::test
