// Picks the Linux backend at run time: X11 when Qt runs on xcb, otherwise
// one that never reports and says why.

#include <QGuiApplication>

#include "ui/outside_click_monitor_x11.h"

namespace pellum {

std::unique_ptr<OutsideClickMonitor> OutsideClickMonitor::create() {
  const QString platform = QGuiApplication::platformName();
  if (platform == QStringLiteral("xcb")) return makeX11OutsideClickMonitor();
  return makeNullOutsideClickMonitor("no outside-click backend for the \"" + platform.toStdString() +
                                     "\" platform");
}

}  // namespace pellum
