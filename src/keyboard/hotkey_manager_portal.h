#pragma once

#include <memory>

#include "keyboard/hotkey_manager.h"

namespace pellum {

// The backend for KDE Plasma: a "Dictate" shortcut from the desktop's
// GlobalShortcuts portal, whose Activated and Deactivated signals are the
// key's press and release. The user picks the key in the desktop's own
// shortcut settings.
std::unique_ptr<HotkeyManager> makePortalHotkeyManager();

}  // namespace pellum
