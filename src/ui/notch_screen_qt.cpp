// Linux screens have no camera housing: the overlay grows out of a virtual
// one at the top of the primary screen, below nothing but the top panel.
// Qt's window flags (stay on top, bypass the window manager, no input)
// already place the window.

#include <QGuiApplication>
#include <QScreen>

#include "ui/notch_screen.h"

namespace pellum {
namespace {

notch::Rect toRect(const QRect& r) {
  return {double(r.x()), double(r.y()), double(r.width()), double(r.height())};
}

}  // namespace

std::optional<notch::ScreenFacts> overlayScreenFacts() {
  QScreen* screen = QGuiApplication::primaryScreen();
  if (!screen) return std::nullopt;
  return notch::virtualNotch(toRect(screen->geometry()), toRect(screen->availableGeometry()));
}

void placeOverlayWindow(QWidget&) {}

}  // namespace pellum
