#pragma once

#include <QJsonDocument>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

namespace pellum::test {

// A headless sway for one test program, with XWayland: the Wayland desktop
// a user dictates in. sway refuses to run as root, so it runs as "nobody"
// in a private runtime directory owned by that user; the test's own
// clients (running as root) reach its sockets all the same.
//
// While it lives, this process's environment points at it (WAYLAND_DISPLAY,
// SWAYSOCK, XDG_RUNTIME_DIR; DISPLAY at its XWayland once asked for).
class SwaySession {
 public:
  // `extraConfig` lines are appended to the minimal configuration.
  explicit SwaySession(const QStringList& extraConfig = {});
  ~SwaySession();
  SwaySession(const SwaySession&) = delete;
  SwaySession& operator=(const SwaySession&) = delete;

  bool isRunning() const { return !swaySocket_.isEmpty(); }
  // Why it is not running; sway's own log follows.
  QString failure() const { return failure_; }

  QString runtimeDir() const { return runtimeDir_.path(); }
  const QString& waylandDisplay() const { return waylandDisplay_; }  // an absolute socket path
  const QString& swaySocket() const { return swaySocket_; }

  // XWayland's display (":1"); XWayland starts on the first call. Empty
  // when it does not come up.
  QString xDisplay();

  // The environment for a client of this session: native Wayland unless
  // `x11` (then XWayland, with WAYLAND_DISPLAY removed).
  QProcessEnvironment clientEnvironment(bool x11 = false);

  // Runs swaymsg with `arguments`; its standard output, or empty on failure.
  QByteArray swaymsg(const QStringList& arguments, int timeoutMs = 5000) const;
  QJsonDocument tree() const;
  // The focused window's app_id (native) or X11 class (XWayland); empty
  // when nothing is focused.
  QString focusedApp() const;
  // Waits until a window whose app_id or class is `app` has the focus.
  bool waitForFocus(const QString& app, int timeoutMs = 10000) const;

  // A PNG of the whole screen (grim); empty on failure.
  QByteArray screenshot() const;

  // sway's log so far, for failure messages.
  QString log() const;

 private:
  QTemporaryDir runtimeDir_;
  mutable QProcess sway_;
  mutable QByteArray log_;
  QString waylandDisplay_;
  QString swaySocket_;
  QString xDisplay_;
  QString failure_;
  QByteArray previousEnvironment_[4];
};

}  // namespace pellum::test
