#include "support/xtest_keyboard.h"

#include <cstdlib>
#include <memory>

#include <xcb/xcb.h>
#include <xcb/xtest.h>
#include <xkbcommon/xkbcommon.h>

namespace pellum::test {

XTestKeyboard::XTestKeyboard() : connection_(xcb_connect(nullptr, nullptr)) {
  if (xcb_connection_has_error(connection_)) {
    xcb_disconnect(connection_);
    connection_ = nullptr;
  }
}

XTestKeyboard::~XTestKeyboard() {
  if (connection_) xcb_disconnect(connection_);
}

int XTestKeyboard::keycodeFor(const std::string& keysymName) {
  const xkb_keysym_t keysym = xkb_keysym_from_name(keysymName.c_str(), XKB_KEYSYM_NO_FLAGS);
  if (keysym == XKB_KEY_NoSymbol || !connection_) return -1;
  const xcb_setup_t* setup = xcb_get_setup(connection_);
  const auto count = static_cast<uint8_t>(setup->max_keycode - setup->min_keycode + 1);
  std::unique_ptr<xcb_get_keyboard_mapping_reply_t, decltype(&free)> mapping(
      xcb_get_keyboard_mapping_reply(
          connection_, xcb_get_keyboard_mapping(connection_, setup->min_keycode, count), nullptr),
      &free);
  if (!mapping) return -1;
  const xcb_keysym_t* syms = xcb_get_keyboard_mapping_keysyms(mapping.get());
  for (int code = 0; code < count; ++code) {
    if (syms[code * mapping->keysyms_per_keycode] == keysym) return setup->min_keycode + code;
  }
  return -1;
}

bool XTestKeyboard::fake(unsigned char type, const std::string& keysymName) {
  const int code = keycodeFor(keysymName);
  if (code < 0) return false;
  return fakeRaw(type, static_cast<unsigned char>(code));
}

bool XTestKeyboard::fakeRaw(unsigned char type, unsigned char detail, int x, int y) {
  if (!connection_) return false;
  const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data->root;
  auto cookie = xcb_test_fake_input_checked(connection_, type, detail, XCB_CURRENT_TIME, root,
                                            static_cast<int16_t>(x), static_cast<int16_t>(y), 0);
  xcb_generic_error_t* error = xcb_request_check(connection_, cookie);
  free(error);
  return error == nullptr;
}

bool XTestKeyboard::click(int x, int y, int button) {
  const auto detail = static_cast<unsigned char>(button);
  // Detail 0: an absolute move, to (x, y) on the root window.
  return fakeRaw(XCB_MOTION_NOTIFY, 0, x, y) && fakeRaw(XCB_BUTTON_PRESS, detail) &&
         fakeRaw(XCB_BUTTON_RELEASE, detail);
}

bool XTestKeyboard::press(const std::string& keysymName) { return fake(XCB_KEY_PRESS, keysymName); }
bool XTestKeyboard::release(const std::string& keysymName) { return fake(XCB_KEY_RELEASE, keysymName); }
bool XTestKeyboard::tap(const std::string& keysymName) { return press(keysymName) && release(keysymName); }

bool XTestKeyboard::isDown(const std::string& keysymName) {
  const int code = keycodeFor(keysymName);
  if (code < 0) return false;
  std::unique_ptr<xcb_query_keymap_reply_t, decltype(&free)> keymap(
      xcb_query_keymap_reply(connection_, xcb_query_keymap(connection_), nullptr), &free);
  return keymap && (keymap->keys[code / 8] & (1 << (code % 8)));
}

}  // namespace pellum::test
