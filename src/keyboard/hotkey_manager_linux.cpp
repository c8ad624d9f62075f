// Picks the Linux backend from the session (currentBackend): X11 grabs,
// sway bindings, KDE's GlobalShortcuts portal, or `pellum dictate` commands
// bound by the user; anything else is a backend that says why the key is not
// available.

#include "base/desktop_session.h"
#include "keyboard/hotkey_manager_command.h"
#include "keyboard/hotkey_manager_portal.h"
#include "keyboard/hotkey_manager_sway.h"
#include "keyboard/hotkey_manager_x11.h"

namespace pellum {

namespace {

std::unique_ptr<HotkeyManager> makeBackend(const std::string& backend) {
  if (backend == "x11") return makeX11HotkeyManager();
  if (backend == "sway") return makeSwayHotkeyManager();
  if (backend == "command") return makeCommandHotkeyManager();
  if (backend == "portal") return makePortalHotkeyManager();
  if (backend == "none") return makeUnavailableHotkeyManager("no desktop session to watch a key in");
  return makeUnavailableHotkeyManager("no dictation key backend is named \"" + backend + "\"");
}

}  // namespace

std::unique_ptr<HotkeyManager> HotkeyManager::create(Callback onPress, Callback onRelease) {
  auto manager = makeBackend(currentBackend(Capability::hotkey));
  manager->setCallbacks(std::move(onPress), std::move(onRelease));
  return manager;
}

}  // namespace pellum
