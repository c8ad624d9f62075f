#pragma once

#include <memory>

#include "ui/outside_click_monitor.h"

namespace pellum {

// The X11 backend: its own X connection, selecting XInput 2 raw button
// presses on the root window.
std::unique_ptr<OutsideClickMonitor> makeX11OutsideClickMonitor();

}  // namespace pellum
