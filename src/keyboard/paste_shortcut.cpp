#include "keyboard/paste_shortcut.h"

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

// The terminals whose default bindings paste only the primary selection,
// with Shift+Insert.
constexpr std::array<std::string_view, 5> kPrimaryPasters{
    {"xterm", "uxterm", "rxvt", "urxvt", "rxvt-unicode"}};

template <std::size_t N>
bool listed(const std::array<std::string_view, N>& names, std::string_view name) {
  if (name.empty()) return false;
  const std::string key = lower(name);
  return std::find(names.begin(), names.end(), key) != names.end();
}

}  // namespace

PasteKeys pasteKeysFor(std::string_view instance, std::string_view windowClass) {
  if (listed(kPrimaryPasters, instance) || listed(kPrimaryPasters, windowClass))
    return PasteKeys::shiftInsertPrimary;
  if (listed(kTerminals, instance) || listed(kTerminals, windowClass)) return PasteKeys::controlShiftV;
  return PasteKeys::controlV;
}

}  // namespace pellum
