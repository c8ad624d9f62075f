#include "app/tray_status_icon.h"

#include <QGuiApplication>
#include <QPalette>
#include <QPixmap>

#include "app/status_icon_images.h"

namespace pellum {
namespace {

QIcon iconFrom(const QImage& image) { return QIcon(QPixmap::fromImage(image)); }

qreal screenRatio() { return qApp ? qApp->devicePixelRatio() : 1.0; }

}  // namespace

TrayStatusIcon::TrayStatusIcon() {
  tray_.setToolTip(QStringLiteral("Pellum"));
  tray_.setContextMenu(&menu_);
  reset();
  tray_.show();
}

void TrayStatusIcon::setSymbol(Symbol symbol, Tint tint) {
  state_ = symbolName(symbol);
  tray_.setIcon(iconFrom(symbolImage(symbol, tintColor(tint), screenRatio())));
}

void TrayStatusIcon::reset() {
  state_ = "idle";
  const QColor color = QGuiApplication::palette().color(QPalette::WindowText);
  QIcon icon = iconFrom(idleIconImage(color, screenRatio()));
  icon.setIsMask(true);  // desktops that tint monochrome icons may do so
  tray_.setIcon(icon);
}

}  // namespace pellum
