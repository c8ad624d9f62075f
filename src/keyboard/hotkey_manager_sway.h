#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "keyboard/dictation_key_gesture.h"
#include "keyboard/hotkey_manager.h"

namespace pellum {

// The sway backend: bindings for the dictation key added at run time over
// sway's IPC socket (`socketPath`, $SWAYSOCK when empty), reported through
// "binding" events.
//
// sway drops the key's release when another key goes down during the hold,
// so a hold ends by itself after `holdCap` (the dictation's own cap by
// default), and a press while held counts as the release.
std::unique_ptr<HotkeyManager> makeSwayHotkeyManager(
    std::chrono::milliseconds holdCap = DictationKeyGesture::kDefaultCap, std::string socketPath = {});

}  // namespace pellum
