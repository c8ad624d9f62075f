#pragma once

#include <QRect>
#include <functional>
#include <string>
#include <vector>

#include "app/status_menu_model.h"

namespace pellum {

// The tray icon's appearance during a dictation. Main thread.
class StatusIcon {
 public:
  enum class Symbol { micSlash, micFill, waveform };
  enum class Tint { red, orange };

  virtual ~StatusIcon() = default;

  // A symbol drawn in a tint: red "mic.slash" (pressed while signed out),
  // red "mic.fill" (recording), orange "waveform" (processing).
  virtual void setSymbol(Symbol symbol, Tint tint) = 0;
  // Back to the idle icon, untinted.
  virtual void reset() = 0;

  // Replaces the icon's menu; `onAction` receives the chosen row's action
  // and represented object.
  using MenuHandler = std::function<void(MenuAction action, const std::string& object)>;
  virtual void setMenu(const std::vector<MenuItem>& items, MenuHandler onAction) = 0;

  // A short notice next to the icon (the desktop's notification bubble),
  // for what the user asked for from the menu and could not have.
  virtual void showMessage(const std::string& text) { (void)text; }

  // Where the icon is on screen, to anchor popups below it; an invalid
  // rectangle when the desktop does not say.
  virtual QRect anchor() const { return {}; }
};

// "mic.slash", "mic.fill", "waveform".
std::string symbolName(StatusIcon::Symbol symbol);

}  // namespace pellum
