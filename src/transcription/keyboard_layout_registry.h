#pragma once

#include <string>
#include <vector>

#include "transcription/keyboard_layout_languages.h"

namespace pellum {

// The keyboard layouts of the xkeyboard-config database, read once: each
// layout's ISO 639 codes, found by name and variant ("de", "nodeadkeys") or
// by the description a compositor shows ("German (no dead keys)").
class KeyboardLayoutRegistry {
 public:
  static const KeyboardLayoutRegistry& instance();

  KeyboardLayout byName(const std::string& name, const std::string& variant) const;
  KeyboardLayout byDescription(const std::string& description) const;

 private:
  KeyboardLayoutRegistry();

  struct Entry {
    std::string name;
    std::string variant;
    std::string description;
    std::vector<std::string> codes;
  };
  std::vector<Entry> entries_;
};

// The layouts a keyboard has and which one is in use; the backends of
// keyboard_languages.h each read one of these from their window system.
struct KeyboardLayoutState {
  std::vector<KeyboardLayout> layouts;
  int active = -1;  // -1: not known
};

// One reader per backend (keyboard_languages_xkb.cpp, _sway.cpp,
// _wayland.cpp). Main thread.
KeyboardLayoutState xkbKeyboardLayouts();
KeyboardLayoutState swayKeyboardLayouts();
KeyboardLayoutState waylandKeyboardLayouts();

}  // namespace pellum
