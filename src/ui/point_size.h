#pragma once

namespace pellum {

// Designs give sizes in points of one pixel each (a 72-dpi point, as drawn
// at 1x); a Qt font point is a 72nd of an inch on a 96-dpi screen, so a
// design point is three quarters of a Qt point.
constexpr double qtPointSize(double designPoints) { return designPoints * 0.75; }

}  // namespace pellum
