#pragma once

#include <QObject>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "keyboard/dictation_command.h"
#include "keyboard/dictation_key_choice.h"
#include "keyboard/hotkey_key.h"
#include "keyboard/hotkey_state.h"

namespace pellum {

// Watches the whole desktop's keyboard for the dictation key and reports its
// going down and coming up as `onPress` and `onRelease`: strictly paired,
// always on the main thread, always after the platform's event handler has
// returned. The key's own events are consumed; every other key passes
// through to the focused application. While a dictation runs (see
// `setCancelKeyArmed`) Escape is reported as `onCancel` instead.
//
// Main thread only. Backends (chosen by currentBackend(Capability::hotkey)):
// X11 (hotkey_manager_x11.cpp), sway bindings over its IPC socket
// (hotkey_manager_sway.cpp), `pellum dictate` commands only
// (hotkey_manager_command.cpp), and one that reports the key as unavailable.
class HotkeyManager : public QObject {
 public:
  using Callback = std::function<void()>;
  using KeyChosen = std::function<void(std::optional<std::string> keysymName)>;

  // The backend for the running session (currentBackend(Capability::hotkey),
  // environment override).
  static std::unique_ptr<HotkeyManager> create(Callback onPress = {}, Callback onRelease = {});

  ~HotkeyManager() override = default;

  void setCallbacks(Callback onPress, Callback onRelease);
  void setCancelCallback(Callback onCancel) { onCancel_ = std::move(onCancel); }

  // Starts watching; safe to call again (it re-arms). Returns whether the
  // key is now watched.
  virtual bool start() = 0;

  // The key being watched, once start succeeded.
  virtual std::optional<DictationKey> key() const = 0;

  // Why the key is not available, for the log and the menu; empty when it is.
  virtual std::string unavailableReason() const = 0;

  // Which key to watch: a keysym name, or empty for the automatic choice.
  // PELLUM_DICTATION_KEY, when set, wins (see requestedDictationKey). Before
  // start this only records the choice; once watching, the new key is
  // grabbed before the old one is let go, and when it cannot be had the old
  // key stays watched and the error says why.
  virtual std::optional<DictationKeyError> chooseKey(const std::string& keysymName) = 0;

  // The keys this keyboard has that make good dictation keys.
  virtual std::vector<DictationKey> availableKeys() const { return {}; }

  // Reports the keysym name of the next key the user presses, or nothing
  // when Escape is pressed, the wait times out, or the keyboard cannot be
  // had. The dictation key does not fire meanwhile.
  virtual void captureNextKey(KeyChosen onKey) { onKey(std::nullopt); }

  // While armed, Escape is taken from the focused application and reported
  // as `onCancel` (also while the dictation key is not held, as in a
  // hands-free dictation).
  virtual void setCancelKeyArmed(bool armed) { (void)armed; }

  bool isHeld() const { return state_.isHeld(); }

  // A gesture from `pellum dictate ...`, with the same pairing as the key's
  // own: toggle presses when the key is up and releases when it is held.
  void handleCommand(DictationCommand command);

 protected:
  HotkeyManager() = default;

  // Backends report raw transitions here; pairing and the queued delivery
  // to the main thread happen in one place.
  void keyWentDown();
  void keyWentUp();
  void cancelPressed();
  // The key was handed back to the application while held: its release
  // will not be seen, and the next down is a new press.
  void forgetHeldKey() { state_.forget(); }

 private:
  void deliverLater(const Callback& callback);

  Callback onPress_;
  Callback onRelease_;
  Callback onCancel_;
  HotkeyState state_;
};

}  // namespace pellum
