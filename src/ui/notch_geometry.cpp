#include "ui/notch_geometry.h"

#include <algorithm>
#include <cmath>

namespace pellum::notch {

std::optional<Rect> notchFrame(const ScreenFacts& screen) {
  if (screen.safeTopInset <= 0 || !screen.auxiliaryTopLeft || !screen.auxiliaryTopRight) return std::nullopt;
  const double notchWidth = screen.auxiliaryTopRight->x - screen.auxiliaryTopLeft->maxX();
  if (notchWidth <= 0) return std::nullopt;
  return Rect{screen.auxiliaryTopLeft->maxX() - kExtensionWidth, screen.frame.y, notchWidth + kExtensionWidth,
              screen.safeTopInset};
}

ScreenFacts virtualNotch(const Rect& screenFrame, const Rect& availableFrame) {
  const double panel = std::max(0.0, availableFrame.y - screenFrame.y);
  const double height = std::max(kMinimumVirtualHeight, panel);
  const double housingLeft = screenFrame.x + (screenFrame.width - kVirtualHousingWidth) / 2;
  ScreenFacts facts;
  facts.frame = screenFrame;
  facts.safeTopInset = height;
  facts.auxiliaryTopLeft = Rect{screenFrame.x, screenFrame.y, housingLeft - screenFrame.x, height};
  facts.auxiliaryTopRight = Rect{housingLeft + kVirtualHousingWidth, screenFrame.y,
                                 screenFrame.maxX() - housingLeft - kVirtualHousingWidth, height};
  return facts;
}

Rect fromBottomLeft(const Rect& rect, double primaryScreenHeight) {
  return {rect.x, primaryScreenHeight - rect.y - rect.height, rect.width, rect.height};
}

double barX(int i) {
  const double group = kBarCount * kBarWidth + (kBarCount - 1) * kBarGap;
  return (kExtensionWidth - group) / 2 + i * (kBarWidth + kBarGap);
}

void tickLevels(std::array<double, kBarCount>& levels, double target) {
  for (int i = 0; i < kBarCount; ++i) {
    const auto k = static_cast<std::size_t>(i);
    levels[k] += (target * kBarProfile[k] - levels[k]) * kBarEase[k];
  }
}

double barHeight(double level, double contentHeight) {
  const double room = std::max(contentHeight - 10, 6.0);
  return room * level + kMinBarHeight;
}

double loaderWidth() { return kDotCount * kDotSize + (kDotCount - 1) * kDotGap + 16; }

double dotX(int i) {
  const double row = kDotCount * kDotSize + (kDotCount - 1) * kDotGap;
  return (loaderWidth() - row) / 2 + i * (kDotSize + kDotGap);
}

Pulse dotPulse(int i, double seconds) {
  const double half = kTypingCycle / 2;
  const double t = seconds + i * kTypingCycle / kDotCount;  // the dot's time offset
  // Autoreversing: up over one half period, down over the next.
  const double phase = std::fmod(t, 2 * half) / half;
  const double progress = phase <= 1 ? phase : 2 - phase;
  return {0.3 + 0.7 * progress, 0.7 + 0.45 * progress};
}

}  // namespace pellum::notch
