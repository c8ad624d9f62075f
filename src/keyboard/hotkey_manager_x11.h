#pragma once

#include <memory>

#include "keyboard/hotkey_manager.h"

namespace pellum {

// The X11 backend: a passive grab of the dictation key on the root window.
std::unique_ptr<HotkeyManager> makeX11HotkeyManager();

// A backend for desktops where no global key can be had yet (Wayland
// without a portal backend): it reports `reason` and never fires.
std::unique_ptr<HotkeyManager> makeUnavailableHotkeyManager(std::string reason);

}  // namespace pellum
