#pragma once

#include <array>
#include <optional>

namespace pellum {

// Geometry of the overlay that grows out of the screen's camera housing.
// Rectangles are in screen points with the origin at the top left (y grows
// downward), the way Qt and X11 measure.
namespace notch {

struct Rect {
  double x = 0, y = 0, width = 0, height = 0;
  double maxX() const { return x + width; }
  bool operator==(const Rect&) const = default;
};

// What a screen says about its top edge: its frame, the height of the band
// at the top that windows should leave alone (the safe-area inset), and the
// areas left and right of the camera housing.
struct ScreenFacts {
  Rect frame;
  double safeTopInset = 0;
  std::optional<Rect> auxiliaryTopLeft;
  std::optional<Rect> auxiliaryTopRight;
};

inline constexpr double kExtensionWidth = 90;
inline constexpr double kCornerRadius = 10;
inline constexpr int kBarCount = 5;
inline constexpr double kBarWidth = 3.5;
inline constexpr double kBarGap = 4;
inline constexpr double kMinBarHeight = 3;
inline constexpr std::array<double, kBarCount> kBarProfile{0.5, 0.78, 1.0, 0.78, 0.5};
inline constexpr std::array<double, kBarCount> kBarEase{0.22, 0.28, 0.35, 0.28, 0.22};
inline constexpr double kDotSize = 5.5;
inline constexpr double kDotGap = 6;
inline constexpr double kTypingCycle = 1.1;  // seconds of one pulse; also the spread of the wave
inline constexpr int kDotCount = 5;
// Screens without a housing get a virtual one this wide, centred at the top.
inline constexpr double kVirtualHousingWidth = 180;
inline constexpr double kMinimumVirtualHeight = 32;

// The overlay's frame: from 90 points left of the housing to its right
// edge, as tall as the safe area, flush with the top. Nothing when the
// screen has no housing areas or they leave no room between them.
std::optional<Rect> notchFrame(const ScreenFacts& screen);

// A screen without a housing, described as if it had one: 180 points wide,
// centred at the top, as tall as the top panel (the band between the
// screen's top and its available area) but at least 32.
ScreenFacts virtualNotch(const Rect& screenFrame, const Rect& availableFrame);

// A rectangle from AppKit's global coordinates (origin at the bottom left
// of the primary screen, y growing upward) in the top-left coordinates used
// here, given the primary screen's height.
Rect fromBottomLeft(const Rect& rect, double primaryScreenHeight);

// x of bar i within the overlay: 28.25 + 7.5 i.
double barX(int i);

// One display refresh of the bars' smoothing: each level moves a fixed
// share (its ease) of the way toward target x its profile. No time-step
// correction: faster displays settle faster.
void tickLevels(std::array<double, kBarCount>& levels, double target);

// A bar's height for a smoothed level in an overlay `contentHeight` tall:
// room x level + 3, where room = height - 10, at least 6.
double barHeight(double level, double contentHeight);

// x of dot i within the loader's container (8 + 11.5 i), and the container's
// width (67.5).
double dotX(int i);
double loaderWidth();

// The pulse of dot i at `seconds` since the loader appeared, as (opacity,
// scale): each dot swings 0.3..1.0 and 0.7..1.15 over half a cycle and back,
// dot i a fifth of a cycle behind dot i-1, so a wave runs left to right.
struct Pulse {
  double opacity;
  double scale;
};
Pulse dotPulse(int i, double seconds);

}  // namespace notch
}  // namespace pellum
