#include "app/paste_shortcut.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string>

namespace pellum {
namespace {

// Edit freely: the WM_CLASS names (lower case) of terminal emulators.
constexpr std::array<std::string_view, 26> kTerminals{{
    "xterm",
    "uxterm",
    "rxvt",
    "urxvt",
    "rxvt-unicode",
    "gnome-terminal",
    "gnome-terminal-server",
    "org.gnome.console",
    "kgx",
    "konsole",
    "kitty",
    "alacritty",
    "tilix",
    "terminator",
    "wezterm",
    "org.wezfurlong.wezterm",
    "foot",
    "footclient",
    "xfce4-terminal",
    "mate-terminal",
    "lxterminal",
    "qterminal",
    "st",
    "st-256color",
    "terminology",
    "guake",
}};

std::string lower(std::string_view text) {
  std::string out(text);
  std::transform(out.begin(), out.end(), out.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return out;
}

bool isTerminal(std::string_view name) {
  if (name.empty()) return false;
  const std::string key = lower(name);
  return std::find(kTerminals.begin(), kTerminals.end(), key) != kTerminals.end();
}

}  // namespace

bool isTerminalWindowClass(std::string_view instance, std::string_view windowClass) {
  return isTerminal(instance) || isTerminal(windowClass);
}

}  // namespace pellum
