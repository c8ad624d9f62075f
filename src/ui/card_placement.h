#pragma once

#include "ui/notch_geometry.h"

namespace pellum {

// Where an onboarding card goes, in screen points (origin top left).
namespace card_placement {

// Under the tray icon: centred on it, 4 points below, kept inside `area`
// (flipped above the icon when there is no room below, as with a bottom
// panel).
notch::Rect belowAnchor(const notch::Rect& anchor, double width, double height, const notch::Rect& area);

// The floating form, when the tray's position is unknown: centred at the
// top of the screen, 8 points below the top band (the safe-area inset: a
// camera housing or the top panel) but at least 20 points below the edge.
notch::Rect floating(const notch::Rect& screenFrame, double safeTopInset, double width, double height);

}  // namespace card_placement
}  // namespace pellum
