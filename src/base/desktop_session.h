#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace pellum {

// What kind of desktop the program runs in, and which backend each
// platform capability uses there. One policy for the whole program: the
// hotkey, the paste, the overlay, the keyboard language and Qt's own
// platform all ask it.

enum class Compositor { none, sway, kde, gnome, hyprland, other };

// The session as the environment describes it.
struct DesktopSession {
  bool wayland = false;  // WAYLAND_DISPLAY is set
  bool x11 = false;      // DISPLAY is set (on Wayland: XWayland is there)
  Compositor compositor = Compositor::none;
  std::string swaySocket;  // SWAYSOCK, also set by compositors that speak sway's IPC
};

// Reads the session from environment variables through `getenv`
// (WAYLAND_DISPLAY, DISPLAY, SWAYSOCK, XDG_CURRENT_DESKTOP,
// XDG_SESSION_TYPE, HYPRLAND_INSTANCE_SIGNATURE).
using EnvironmentLookup = std::function<std::string(const char* name)>;
DesktopSession desktopSessionFrom(const EnvironmentLookup& getenv);

std::string_view compositorName(Compositor compositor);

// The capabilities with a backend per session, each with its environment
// override (PELLUM_HOTKEY_BACKEND, PELLUM_PASTE_BACKEND,
// PELLUM_OVERLAY_BACKEND, PELLUM_LAYOUT_BACKEND).
enum class Capability { hotkey, paste, overlay, layout };

const char* overrideVariable(Capability capability);

// The backend's name for `capability` in `session`:
//   hotkey:  "x11", "sway", "portal" (KDE's GlobalShortcuts), "command"
//            (`pellum dictate` bound by the user), "none"
//   paste:   "x11", "wayland", "none"
//   overlay: "x11", "layer-shell", "none"
//   layout:  "xkb", "sway", "wayland" (the seat's keymap), "none"
// A non-empty `override` wins as given; the backend refuses names it does
// not know.
std::string chooseBackend(Capability capability, const DesktopSession& session,
                          std::string_view override = {});

// The Qt platform the program runs its own windows on: "xcb" wherever an X
// server is reachable (on Wayland that is XWayland: the tray menu and the
// popovers need a window that places itself; the Wayland parts use
// connections of their own), else "wayland". Empty: leave Qt's choice.
std::string qtPlatformFor(const DesktopSession& session);

// The running process's session, and the backend it uses for `capability`
// with its override read from the environment (desktop_session_posix.cpp).
DesktopSession currentDesktopSession();
std::string currentBackend(Capability capability);

}  // namespace pellum
