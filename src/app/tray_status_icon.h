#pragma once

#include <QMenu>
#include <QSystemTrayIcon>
#include <memory>

#include "app/status_icon.h"

namespace pellum {

// The program's one permanent surface: an icon in the desktop's tray
// (StatusNotifierItem, or the XEmbed tray) with the program's menu. It shows
// the idle "P" or a dictation state's symbol. Main thread.
class TrayStatusIcon : public StatusIcon {
 public:
  TrayStatusIcon();

  void setSymbol(Symbol symbol, Tint tint) override;
  void reset() override;
  void setMenu(const std::vector<MenuItem>& items, MenuHandler onAction) override;
  QRect anchor() const override;
  void showMessage(const std::string& text) override;

  // The menu the icon opens.
  QMenu* menu() { return menu_.get(); }
  QSystemTrayIcon& trayIcon() { return tray_; }

  // Whether the desktop has a tray to show the icon in.
  static bool isAvailable() { return QSystemTrayIcon::isSystemTrayAvailable(); }

  // The icon's current state, for diagnostics: "idle" or a symbol name.
  const std::string& state() const { return state_; }

 private:
  QSystemTrayIcon tray_;
  std::unique_ptr<QMenu> menu_;
  std::string state_ = "idle";
};

}  // namespace pellum
