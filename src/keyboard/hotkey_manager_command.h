#pragma once

#include <memory>

#include "keyboard/hotkey_manager.h"

namespace pellum {

// The backend for desktops where the user binds a key to `pellum dictate
// ...` (Hyprland, river, GNOME, ...): the key is whatever those commands
// say, through HotkeyManager::handleCommand.
std::unique_ptr<HotkeyManager> makeCommandHotkeyManager();

}  // namespace pellum
