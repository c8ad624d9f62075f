#pragma once

#include <QObject>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "app/hotkey_key.h"
#include "app/hotkey_state.h"

namespace pellum {

// Watches the whole desktop's keyboard for the dictation key and reports its
// going down and coming up as `onPress` and `onRelease`: strictly paired,
// always on the main thread, always after the platform's event handler has
// returned. The key's own events are consumed; every other key passes
// through to the focused application.
//
// Main thread only. Backends: X11 (hotkey_manager_x11.cpp); elsewhere a
// backend that reports the key as unavailable. PELLUM_HOTKEY_BACKEND=x11|none
// forces one.
class HotkeyManager : public QObject {
 public:
  using Callback = std::function<void()>;

  // The backend for the running platform (from the Qt platform name, or the
  // environment override).
  static std::unique_ptr<HotkeyManager> create(Callback onPress = {}, Callback onRelease = {});

  ~HotkeyManager() override = default;

  void setCallbacks(Callback onPress, Callback onRelease);

  // Starts watching; safe to call again (it re-arms). Returns whether the
  // key is now watched.
  virtual bool start() = 0;

  // The key being watched, once start succeeded.
  virtual std::optional<DictationKey> key() const = 0;

  // Why the key is not available, for the log and the menu; empty when it is.
  virtual std::string unavailableReason() const = 0;

  bool isHeld() const { return state_.isHeld(); }

 protected:
  HotkeyManager() = default;

  // Backends report raw transitions here; pairing and the queued delivery
  // to the main thread happen in one place.
  void keyWentDown();
  void keyWentUp();

 private:
  void deliverLater(const Callback& callback);

  Callback onPress_;
  Callback onRelease_;
  HotkeyState state_;
};

}  // namespace pellum
