#include "keyboard/hotkey_manager.h"

#include "base/threads.h"

namespace pellum {

void HotkeyManager::setCallbacks(Callback onPress, Callback onRelease) {
  onPress_ = std::move(onPress);
  onRelease_ = std::move(onRelease);
}

void HotkeyManager::keyWentDown() {
  if (state_.keyDown() == HotkeyState::Report::press) deliverLater(onPress_);
}

void HotkeyManager::keyWentUp() {
  if (state_.keyUp() == HotkeyState::Report::release) deliverLater(onRelease_);
}

void HotkeyManager::cancelPressed() { deliverLater(onCancel_); }

void HotkeyManager::handleCommand(DictationCommand command) {
  switch (command) {
    case DictationCommand::press:
      return keyWentDown();
    case DictationCommand::release:
      return keyWentUp();
    case DictationCommand::toggle:
      return isHeld() ? keyWentUp() : keyWentDown();
    case DictationCommand::cancel:
      // The dictation is dropped along with its hold, so the next toggle
      // starts a new one rather than releasing the dropped one.
      forgetHeldKey();
      return cancelPressed();
  }
}

void HotkeyManager::deliverLater(const Callback& callback) {
  if (!callback) return;
  // Queued, so the platform's handler returns before any dictation work.
  postTo(this, [callback] { callback(); });
}

}  // namespace pellum
