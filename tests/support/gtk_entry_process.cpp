#include "support/gtk_entry_process.h"

#include <QProcessEnvironment>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <xcb/xcb.h>

#include "support/event_loop.h"
#include "support/x_windows.h"
#include "support/xtest_keyboard.h"

namespace pellum::test {
namespace {

template <class T>
using Reply = std::unique_ptr<T, decltype(&free)>;

}  // namespace

GtkEntryProcess::GtkEntryProcess() : connection_(xcb_connect(nullptr, nullptr)) {
  auto environment = QProcessEnvironment::systemEnvironment();
  // No accessibility bus or settings daemon in a private X session: keep
  // GTK from waiting for them.
  environment.insert(QStringLiteral("NO_AT_BRIDGE"), QStringLiteral("1"));
  environment.insert(QStringLiteral("GDK_BACKEND"), QStringLiteral("x11"));
  process_.setProcessEnvironment(environment);
  process_.start(QStringLiteral("zenity"), {QStringLiteral("--entry"), QStringLiteral("--title=gtk target"),
                                            QStringLiteral("--text=Dictate here")});
}

GtkEntryProcess::~GtkEntryProcess() {
  process_.kill();
  process_.waitForFinished(2000);
  if (connection_) xcb_disconnect(connection_);
}

unsigned GtkEntryProcess::findWindow() {
  const auto windows = viewableWindowsOf(connection_, "zenity");
  return windows.empty() ? 0 : windows.front();
}

bool GtkEntryProcess::waitUntilFocused(int timeoutMs) {
  if (!connection_ || xcb_connection_has_error(connection_)) return false;
  xcb_window_t window = 0;
  if (!waitUntil([&] { return (window = findWindow()) != 0; }, std::chrono::milliseconds(timeoutMs)))
    return false;
  xcb_set_input_focus(connection_, XCB_INPUT_FOCUS_POINTER_ROOT, window, XCB_CURRENT_TIME);
  Reply<xcb_get_input_focus_reply_t> focus(
      xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr), &free);
  return focus && focus->focus == window;
}

QString GtkEntryProcess::confirm(int timeoutMs) {
  XTestKeyboard keyboard;
  keyboard.tap("Return");
  if (!process_.waitForFinished(timeoutMs)) return {};
  return QString::fromUtf8(process_.readAllStandardOutput()).trimmed();
}

}  // namespace pellum::test
