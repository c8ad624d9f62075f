#pragma once

#include <functional>
#include <memory>
#include <string>

namespace pellum {

// Where a press landed, in the desktop's global coordinates (the ones a
// top-level window's geometry is given in).
struct ScreenPoint {
  int x = 0;
  int y = 0;
};

// Tells about every left and right button press anywhere on the desktop,
// whichever application it goes to, without taking any grab. The cards and
// the language picker use it to close on a press outside them, as a popup
// does by itself: they cannot be popups, whose keyboard grab swallows the
// dictation key.
//
// Main thread. Reports come on the main thread, queued, never from inside
// start() or stop(), and never after stop(). Backends: X11
// (outside_click_monitor_x11.cpp, XInput 2 raw events); elsewhere one that
// never reports.
class OutsideClickMonitor {
 public:
  using OnPress = std::function<void(ScreenPoint where)>;

  // The backend for the running platform (from the Qt platform name).
  static std::unique_ptr<OutsideClickMonitor> create();

  virtual ~OutsideClickMonitor() = default;

  // Reports presses from now on; starting again replaces the callback.
  // Returns false, with the reason in unavailableReason(), when presses
  // cannot be watched here; then it never reports.
  virtual bool start(OnPress onPress) = 0;
  // Safe to call when not started, and from inside the callback.
  virtual void stop() = 0;

  // Why the last start() failed; empty after one that succeeded.
  virtual std::string unavailableReason() const = 0;
};

// A backend that never reports, and says `reason` when asked to start.
std::unique_ptr<OutsideClickMonitor> makeNullOutsideClickMonitor(std::string reason);

}  // namespace pellum
