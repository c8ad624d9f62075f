// Keyboard layouts from the X server's XKB configuration: the layouts come
// from the root window's _XKB_RULES_NAMES property (what setxkbmap and the
// desktop settings write), the active group from the XKB state.

#include "transcription/keyboard_layout_registry.h"

#include <xcb/xcb.h>
#include <xkbcommon/xkbcommon-x11.h>

#include <map>
#include <memory>
#include <optional>
#include <utility>

namespace pellum {
namespace {

struct XcbDeleter {
  void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
};
using XcbConnection = std::unique_ptr<xcb_connection_t, XcbDeleter>;

XcbConnection connectToDisplay() {
  XcbConnection connection(xcb_connect(nullptr, nullptr));
  if (!connection || xcb_connection_has_error(connection.get())) return nullptr;
  return connection;
}

// The five NUL-separated fields of _XKB_RULES_NAMES: rules, model, layout,
// variant, options.
std::optional<std::vector<std::string>> rulesNames(xcb_connection_t* connection) {
  constexpr std::string_view kAtom = "_XKB_RULES_NAMES";
  auto atomCookie = xcb_intern_atom(connection, 1, kAtom.size(), kAtom.data());
  std::unique_ptr<xcb_intern_atom_reply_t, decltype(&free)> atom(
      xcb_intern_atom_reply(connection, atomCookie, nullptr), &free);
  if (!atom || atom->atom == XCB_ATOM_NONE) return std::nullopt;

  const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
  if (!screen) return std::nullopt;
  auto cookie = xcb_get_property(connection, 0, screen->root, atom->atom, XCB_ATOM_STRING, 0, 1024);
  std::unique_ptr<xcb_get_property_reply_t, decltype(&free)> reply(
      xcb_get_property_reply(connection, cookie, nullptr), &free);
  if (!reply || reply->type != XCB_ATOM_STRING || reply->format != 8) return std::nullopt;

  const auto* data = static_cast<const char*>(xcb_get_property_value(reply.get()));
  const auto length = static_cast<std::size_t>(xcb_get_property_value_length(reply.get()));
  std::vector<std::string> fields;
  std::string field;
  for (std::size_t i = 0; i < length; ++i) {
    if (data[i] == '\0') {
      fields.push_back(std::exchange(field, {}));
    } else {
      field.push_back(data[i]);
    }
  }
  if (!field.empty()) fields.push_back(field);
  fields.resize(5);
  return fields;
}

std::vector<KeyboardLayout> enabledLayouts(xcb_connection_t* connection) {
  const auto names = rulesNames(connection);
  if (!names || (*names)[2].empty()) return {};
  const auto layoutNames = splitXkbList((*names)[2]);
  const auto variants = splitXkbList((*names)[3]);
  const auto& registry = KeyboardLayoutRegistry::instance();

  std::vector<KeyboardLayout> layouts;
  for (std::size_t i = 0; i < layoutNames.size(); ++i) {
    layouts.push_back(registry.byName(layoutNames[i], i < variants.size() ? variants[i] : std::string()));
  }
  return layouts;
}

// The index of the effective layout group, or -1 when XKB is unavailable.
int activeGroup(xcb_connection_t* connection) {
  if (!xkb_x11_setup_xkb_extension(connection, XKB_X11_MIN_MAJOR_XKB_VERSION, XKB_X11_MIN_MINOR_XKB_VERSION,
                                   XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr, nullptr,
                                   nullptr)) {
    return -1;
  }
  const int32_t device = xkb_x11_get_core_keyboard_device_id(connection);
  if (device < 0) return -1;
  xkb_context* context = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
  if (!context) return -1;
  int group = -1;
  if (xkb_keymap* keymap =
          xkb_x11_keymap_new_from_device(context, connection, device, XKB_KEYMAP_COMPILE_NO_FLAGS)) {
    if (xkb_state* state = xkb_x11_state_new_from_device(keymap, connection, device)) {
      group = static_cast<int>(xkb_state_serialize_layout(state, XKB_STATE_LAYOUT_EFFECTIVE));
      xkb_state_unref(state);
    }
    xkb_keymap_unref(keymap);
  }
  xkb_context_unref(context);
  return group;
}

}  // namespace

KeyboardLayoutState xkbKeyboardLayouts() {
  auto connection = connectToDisplay();
  if (!connection) return {};
  KeyboardLayoutState state;
  state.layouts = enabledLayouts(connection.get());
  if (!state.layouts.empty()) state.active = activeGroup(connection.get());
  return state;
}

}  // namespace pellum
