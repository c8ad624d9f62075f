#pragma once

#include <optional>

#include "ui/notch_geometry.h"

class QWidget;

namespace pellum {

// Where the overlay's window goes, as the platform describes its screens.
//
// macOS (notch_screen_mac.mm): the screen with a camera housing, from its
// safe-area inset and the auxiliary areas beside the housing; nothing on a
// Mac without one, so no overlay shows there. Elsewhere
// (notch_screen_qt.cpp): the primary screen, with a virtual housing
// centred at its top.
//
// Main thread.
std::optional<notch::ScreenFacts> overlayScreenFacts();

// Makes `window` float where the overlay must: above the menu bar and full
// screen programs, on every desktop space, never activated, never taking a
// click. Called right after the window is shown (still transparent), so
// that what Qt sets up at show time does not undo it; the Qt window flags
// already do this where they can.
void placeOverlayWindow(QWidget& window);

}  // namespace pellum
