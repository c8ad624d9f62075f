#pragma once

#include <string_view>

namespace pellum {

// Terminals paste with Ctrl+Shift+V (Ctrl+V is a control character to the
// program running inside); everything else with Ctrl+V. Decided from the
// focused window's WM_CLASS, instance or class, ignoring case.
bool isTerminalWindowClass(std::string_view instance, std::string_view windowClass);

}  // namespace pellum
