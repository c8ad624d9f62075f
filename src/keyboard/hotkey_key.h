#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace pellum {

// The key the user holds to dictate, by keysym, with the names the program
// shows for it.
struct DictationKey {
  std::uint32_t keysym = 0;
  std::string keysymName;   // "XF86Fn", "Control_R", ...
  std::string displayName;  // "Fn", "Right Ctrl": "Hold Fn to dictate"
  std::string capName;      // short label for a key cap: "fn", "ctrl"
};

// The names the program shows for a keysym: known modifier keys get their
// everyday names ("Control_R" is "Right Ctrl"), anything else its keysym
// name with underscores as blanks.
DictationKey describeDictationKey(std::uint32_t keysym, std::string_view keysymName);

}  // namespace pellum
