#include "ui/card_placement.h"

#include <algorithm>

namespace pellum::card_placement {

notch::Rect belowAnchor(const notch::Rect& anchor, double width, double height, const notch::Rect& area) {
  double x = anchor.x + anchor.width / 2 - width / 2;
  x = std::clamp(x, area.x, std::max(area.x, area.maxX() - width));
  double y = anchor.y + anchor.height + 4;
  if (y + height > area.y + area.height) y = anchor.y - height - 4;
  return {x, y, width, height};
}

notch::Rect floating(const notch::Rect& screenFrame, double safeTopInset, double width, double height) {
  const double topMargin = std::max(safeTopInset + 8, 20.0);
  return {screenFrame.x + screenFrame.width / 2 - width / 2, screenFrame.y + topMargin, width, height};
}

}  // namespace pellum::card_placement
