#pragma once

#include <QProcess>
#include <QString>
#include <QTemporaryDir>

#include "support/sway_session.h"
#include "support/wayland_keyboard.h"

namespace pellum::test {

// An application we did not write, running in a sway session, with one text
// field that has the focus: what a user dictates into. Its text is read the
// way each application gives it out: foot writes the line typed into it to
// a file, zenity prints its entry, the Qt probe reports every change.
class WaylandTarget {
 public:
  enum class Kind { foot, gtk, qt };

  // `x11`: under XWayland (not for foot, a Wayland-only terminal).
  WaylandTarget(SwaySession& sway, Kind kind, bool x11 = false);
  ~WaylandTarget();
  WaylandTarget(const WaylandTarget&) = delete;
  WaylandTarget& operator=(const WaylandTarget&) = delete;

  // Waits until the target's window has the focus (and, for the probe,
  // reports itself ready).
  bool waitUntilFocused();
  // The app id or X11 class sway reports for it.
  QString appName() const;
  QString describe() const;

  // Finishes the field (Return from `keyboard` for foot and zenity) and
  // returns its text; `timeoutMs` bounds the wait.
  QString finish(WaylandKeyboard& keyboard, int timeoutMs = 5000);
  // The probe's current text without finishing (empty for the others).
  QString currentText();

 private:
  SwaySession& sway_;
  Kind kind_;
  bool x11_;
  QTemporaryDir dir_;
  QProcess process_;
  QByteArray output_;
};

}  // namespace pellum::test
