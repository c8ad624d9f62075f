#pragma once

#include <memory>
#include <string>

#include "keyboard/text_inserter.h"

namespace pellum {

// Pastes through the X server ($DISPLAY): on X11, and on Wayland for
// XWayland applications.
std::unique_ptr<TextInserter> makeX11TextInserter();

// Pastes nothing; says why once, in the log and through unavailableReason().
std::unique_ptr<TextInserter> makeUnavailableTextInserter(std::string reason);

// Pastes through the compositor's clipboard control and a virtual keyboard
// (text_inserter_wayland.cpp); falls back to X11 where those are missing.
std::unique_ptr<TextInserter> makeWaylandTextInserter();

}  // namespace pellum
