#include "base/desktop_session.h"

#include <algorithm>
#include <cctype>

namespace pellum {
namespace {

std::string lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

// XDG_CURRENT_DESKTOP is a colon-separated list ("ubuntu:GNOME").
bool desktopListHas(const std::string& list, std::string_view name) {
  const std::string lowered = lower(list);
  size_t start = 0;
  while (start <= lowered.size()) {
    const size_t end = std::min(lowered.find(':', start), lowered.size());
    if (std::string_view(lowered).substr(start, end - start) == name) return true;
    start = end + 1;
  }
  return false;
}

Compositor compositorOf(const EnvironmentLookup& getenv, bool wayland) {
  if (!wayland) return Compositor::none;
  if (!getenv("SWAYSOCK").empty()) return Compositor::sway;
  if (!getenv("HYPRLAND_INSTANCE_SIGNATURE").empty()) return Compositor::hyprland;
  const std::string desktop = getenv("XDG_CURRENT_DESKTOP");
  if (desktopListHas(desktop, "kde")) return Compositor::kde;
  if (desktopListHas(desktop, "gnome")) return Compositor::gnome;
  if (desktopListHas(desktop, "sway")) return Compositor::sway;
  if (desktopListHas(desktop, "hyprland")) return Compositor::hyprland;
  return Compositor::other;
}

}  // namespace

DesktopSession desktopSessionFrom(const EnvironmentLookup& getenv) {
  DesktopSession session;
  session.wayland = !getenv("WAYLAND_DISPLAY").empty();
  session.x11 = !getenv("DISPLAY").empty();
  session.compositor = compositorOf(getenv, session.wayland);
  session.swaySocket = getenv("SWAYSOCK");
  return session;
}

std::string_view compositorName(Compositor compositor) {
  switch (compositor) {
    case Compositor::none:
      return "none";
    case Compositor::sway:
      return "sway";
    case Compositor::kde:
      return "KDE Plasma";
    case Compositor::gnome:
      return "GNOME";
    case Compositor::hyprland:
      return "Hyprland";
    case Compositor::other:
      return "Wayland";
  }
  return "none";
}

const char* overrideVariable(Capability capability) {
  switch (capability) {
    case Capability::hotkey:
      return "PELLUM_HOTKEY_BACKEND";
    case Capability::paste:
      return "PELLUM_PASTE_BACKEND";
    case Capability::overlay:
      return "PELLUM_OVERLAY_BACKEND";
    case Capability::layout:
      return "PELLUM_LAYOUT_BACKEND";
  }
  return "";
}

std::string chooseBackend(Capability capability, const DesktopSession& session, std::string_view override) {
  if (!override.empty()) return std::string(override);
  if (!session.wayland) {
    if (!session.x11) return "none";
    switch (capability) {
      case Capability::hotkey:
        return "x11";
      case Capability::paste:
        return "x11";
      case Capability::overlay:
        return "x11";
      case Capability::layout:
        return "xkb";
    }
  }
  switch (capability) {
    case Capability::hotkey:
      if (session.compositor == Compositor::sway && !session.swaySocket.empty()) return "sway";
      if (session.compositor == Compositor::kde) return "portal";
      return "command";
    case Capability::paste:
      return "wayland";
    case Capability::overlay:
      return "layer-shell";
    case Capability::layout:
      return session.compositor == Compositor::sway && !session.swaySocket.empty() ? "sway" : "wayland";
  }
  return "none";
}

std::string qtPlatformFor(const DesktopSession& session) {
  if (session.x11) return "xcb";
  if (session.wayland) return "wayland";
  return {};
}

}  // namespace pellum
