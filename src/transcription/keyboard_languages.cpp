// The keyboard languages of the session, from whichever window system
// describes its layouts: XKB on X11, sway's IPC on sway, the seat's keymap
// on other Wayland compositors (which tell an unfocused client the layouts
// but not the active one: the first counts as active there).

#include "transcription/keyboard_languages.h"

#include <QCoreApplication>
#include <QThread>

#include "base/desktop_session.h"
#include "transcription/keyboard_layout_registry.h"

namespace pellum {
namespace {

KeyboardLayoutState sessionLayouts() {
  Q_ASSERT(!QCoreApplication::instance() ||
           QThread::currentThread() == QCoreApplication::instance()->thread());
  const std::string backend = currentBackend(Capability::layout);
  if (backend == "xkb") return xkbKeyboardLayouts();
  if (backend == "sway") return swayKeyboardLayouts();
  if (backend == "wayland") {
    KeyboardLayoutState state = waylandKeyboardLayouts();
    if (!state.layouts.empty() && state.active < 0) state.active = 0;
    return state;
  }
  return {};
}

}  // namespace

std::string currentKeyboardLanguage() {
  const KeyboardLayoutState state = sessionLayouts();
  if (state.layouts.empty()) return "en";
  return activeLayoutLanguage(state.layouts, state.active);
}

std::vector<std::string> keyboardInputLanguages() {
  const KeyboardLayoutState state = sessionLayouts();
  if (state.layouts.empty()) return {"en"};
  return layoutLanguages(state.layouts);
}

}  // namespace pellum
