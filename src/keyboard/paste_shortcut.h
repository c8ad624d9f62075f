#pragma once

#include <string_view>

namespace pellum {

// The keys that paste in a window. Terminals paste with Ctrl+Shift+V (Ctrl+V
// is a control character to the program running inside); xterm and rxvt,
// out of the box, bind nothing to that and paste the primary selection with
// Shift+Insert instead; everything else pastes with Ctrl+V.
enum class PasteKeys { controlV, controlShiftV, shiftInsertPrimary };

// Decided from the focused window's WM_CLASS, instance or class, ignoring
// case.
PasteKeys pasteKeysFor(std::string_view instance, std::string_view windowClass);

}  // namespace pellum
