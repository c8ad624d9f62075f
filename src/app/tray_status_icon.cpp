#include "app/tray_status_icon.h"

#include <QGuiApplication>
#include <QPalette>
#include <QPixmap>

#include "app/status_icon_images.h"
#include "app/status_menu_view.h"

namespace pellum {
namespace {

QIcon iconFrom(const QImage& image) { return QIcon(QPixmap::fromImage(image)); }

qreal screenRatio() { return qApp ? qApp->devicePixelRatio() : 1.0; }

}  // namespace

TrayStatusIcon::TrayStatusIcon() {
  tray_.setToolTip(QStringLiteral("Pellum"));
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

namespace pellum {

void TrayStatusIcon::setMenu(const std::vector<MenuItem>& items, MenuHandler onAction) {
  // A new menu each time: nothing of the old one survives a rebuild.
  auto menu = std::make_unique<QMenu>();
  renderMenu(*menu, items, std::move(onAction));
  tray_.setContextMenu(menu.get());
  menu_ = std::move(menu);
}

QRect TrayStatusIcon::anchor() const { return tray_.geometry(); }

void TrayStatusIcon::showMessage(const std::string& text) {
  if (isAvailable()) tray_.showMessage(QStringLiteral("Pellum"), QString::fromStdString(text));
}

}  // namespace pellum
