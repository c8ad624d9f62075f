#include "support/gtk_entry_process.h"

#include <QProcessEnvironment>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <xcb/xcb.h>

#include "support/event_loop.h"
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
  const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data->root;
  Reply<xcb_query_tree_reply_t> tree(
      xcb_query_tree_reply(connection_, xcb_query_tree(connection_, root), nullptr), &free);
  if (!tree) return 0;
  const xcb_window_t* children = xcb_query_tree_children(tree.get());
  for (int i = 0; i < xcb_query_tree_children_length(tree.get()); ++i) {
    Reply<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(connection_, xcb_get_window_attributes(connection_, children[i]),
                                        nullptr),
        &free);
    if (!attributes || attributes->map_state != XCB_MAP_STATE_VIEWABLE) continue;
    Reply<xcb_get_property_reply_t> wmClass(
        xcb_get_property_reply(
            connection_,
            xcb_get_property(connection_, 0, children[i], XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 0, 64),
            nullptr),
        &free);
    if (!wmClass) continue;
    const auto* value = static_cast<const char*>(xcb_get_property_value(wmClass.get()));
    const int length = xcb_get_property_value_length(wmClass.get());
    if (length > 0 && std::strncmp(value, "zenity", static_cast<std::size_t>(length)) == 0)
      return children[i];
  }
  return 0;
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
