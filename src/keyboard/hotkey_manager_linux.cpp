// Picks the Linux backend at run time: X11 when Qt runs on xcb (or when
// PELLUM_HOTKEY_BACKEND=x11), otherwise a backend that says why the key is
// not available.

#include <QGuiApplication>

#include "keyboard/hotkey_manager_x11.h"

namespace pellum {

std::unique_ptr<HotkeyManager> HotkeyManager::create(Callback onPress, Callback onRelease) {
  QString backend = qEnvironmentVariable("PELLUM_HOTKEY_BACKEND");
  if (backend.isEmpty()) {
    const QString platform = QGuiApplication::platformName();
    backend =
        (platform == QStringLiteral("xcb") || (platform.isEmpty() && qEnvironmentVariableIsSet("DISPLAY")))
            ? QStringLiteral("x11")
            : platform;
  }
  std::unique_ptr<HotkeyManager> manager;
  if (backend == QStringLiteral("x11")) {
    manager = makeX11HotkeyManager();
  } else if (backend.startsWith(QStringLiteral("wayland"))) {
    manager = makeUnavailableHotkeyManager(
        "the dictation key is not available on Wayland yet; run Pellum under X11 "
        "(or XWayland with QT_QPA_PLATFORM=xcb)");
  } else {
    manager = makeUnavailableHotkeyManager("no dictation key backend for the \"" + backend.toStdString() +
                                           "\" platform");
  }
  manager->setCallbacks(std::move(onPress), std::move(onRelease));
  return manager;
}

}  // namespace pellum
