#include "keyboard/hotkey_key.h"

#include <array>
#include <cctype>

namespace pellum {
namespace {

struct KnownKey {
  std::string_view keysymName;
  std::string_view displayName;
  std::string_view capName;
};

constexpr std::array<KnownKey, 14> kKnownKeys{{
    {"XF86Fn", "Fn", "fn"},
    {"Control_R", "Right Ctrl", "ctrl"},
    {"Control_L", "Left Ctrl", "ctrl"},
    {"Alt_R", "Right Alt", "alt"},
    {"Alt_L", "Left Alt", "alt"},
    {"ISO_Level3_Shift", "AltGr", "altgr"},
    {"Super_R", "Right Super", "super"},
    {"Super_L", "Left Super", "super"},
    {"Shift_R", "Right Shift", "shift"},
    {"Shift_L", "Left Shift", "shift"},
    {"Menu", "Menu", "menu"},
    {"Caps_Lock", "Caps Lock", "caps"},
    {"Scroll_Lock", "Scroll Lock", "scroll"},
    {"Pause", "Pause", "pause"},
}};

}  // namespace

DictationKey describeDictationKey(std::uint32_t keysym, std::string_view keysymName) {
  DictationKey key{keysym, std::string(keysymName), {}, {}};
  for (const auto& known : kKnownKeys) {
    if (known.keysymName == keysymName) {
      key.displayName = known.displayName;
      key.capName = known.capName;
      return key;
    }
  }
  key.displayName = std::string(keysymName);
  for (char& c : key.displayName) {
    if (c == '_') c = ' ';
  }
  key.capName = key.displayName;
  for (char& c : key.capName) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return key;
}

}  // namespace pellum
