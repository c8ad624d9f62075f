// The dictation key on X11. A dedicated xcb connection grabs the key on the
// root window, so its presses and releases come to us and never reach the
// focused window, while every other key goes where it always went.
// Detectable auto-repeat turns a held key into one press and one release
// instead of a stream of fake release/press pairs.

#include "app/hotkey_manager_x11.h"

#include <QSocketNotifier>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include <xcb/xcb.h>
#include <xkbcommon/xkbcommon-x11.h>
#include <xkbcommon/xkbcommon.h>

// xkb.h names a field "explicit"; rename it while the header is read.
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit

namespace pellum {
namespace {

void logLine(const std::string& line) {
  std::fprintf(stdout, "HotkeyManager: %s\n", line.c_str());
  std::fflush(stdout);
}

// The first keycode whose base level produces `keysym`, if any.
std::optional<xcb_keycode_t> keycodeFor(xcb_connection_t* connection, xkb_keysym_t keysym) {
  xkb_context* context = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
  if (!context) return std::nullopt;
  std::optional<xcb_keycode_t> found;
  const int32_t device = xkb_x11_get_core_keyboard_device_id(connection);
  if (xkb_keymap* keymap = device >= 0 ? xkb_x11_keymap_new_from_device(context, connection, device,
                                                                        XKB_KEYMAP_COMPILE_NO_FLAGS)
                                       : nullptr) {
    for (xkb_keycode_t code = xkb_keymap_min_keycode(keymap); code <= xkb_keymap_max_keycode(keymap) && code <= 255;
         ++code) {
      const xkb_keysym_t* syms = nullptr;
      const int count = xkb_keymap_key_get_syms_by_level(keymap, code, 0, 0, &syms);
      for (int i = 0; i < count && !found; ++i) {
        if (syms[i] == keysym) found = static_cast<xcb_keycode_t>(code);
      }
      if (found) break;
    }
    xkb_keymap_unref(keymap);
  }
  xkb_context_unref(context);
  return found;
}

class X11HotkeyManager : public HotkeyManager {
 public:
  ~X11HotkeyManager() override {
    delete notifier_;
    if (connection_) xcb_disconnect(connection_);
  }

  bool start() override {
    if (!connection_ && !connect()) return false;
    ungrab();
    if (!chooseKey()) return false;
    if (!grab()) return false;
    reason_.clear();
    QMetaObject::invokeMethod(this, [this] { readEvents(); }, Qt::QueuedConnection);
    return true;
  }

  std::optional<DictationKey> key() const override {
    return keycode_ ? std::optional(key_) : std::nullopt;
  }

  std::string unavailableReason() const override { return reason_; }

 private:
  bool unavailable(std::string reason) {
    reason_ = std::move(reason);
    logLine(reason_);
    return false;
  }

  bool connect() {
    connection_ = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(connection_)) {
      xcb_disconnect(connection_);
      connection_ = nullptr;
      return unavailable("no X display to watch the dictation key on");
    }
    if (!xkb_x11_setup_xkb_extension(connection_, XKB_X11_MIN_MAJOR_XKB_VERSION, XKB_X11_MIN_MINOR_XKB_VERSION,
                                     XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr, &xkbEventBase_,
                                     nullptr)) {
      return unavailable("the X server has no keyboard extension (XKB)");
    }
    root_ = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data->root;

    // One press and one release for a held key, not a repeat stream.
    free(xcb_xkb_per_client_flags_reply(
        connection_,
        xcb_xkb_per_client_flags(connection_, XCB_XKB_ID_USE_CORE_KBD, XCB_XKB_PER_CLIENT_FLAG_DETECTABLE_AUTO_REPEAT,
                                 XCB_XKB_PER_CLIENT_FLAG_DETECTABLE_AUTO_REPEAT, 0, 0, 0),
        nullptr));
    // A new keyboard or keymap can move the key to another keycode.
    const uint16_t events = XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY;
    xcb_xkb_select_events(connection_, XCB_XKB_ID_USE_CORE_KBD, events, 0, events, 0, 0, nullptr);
    xcb_flush(connection_);

    notifier_ = new QSocketNotifier(xcb_get_file_descriptor(connection_), QSocketNotifier::Read);
    QObject::connect(notifier_, &QSocketNotifier::activated, this, [this] { readEvents(); });
    return true;
  }

  bool chooseKey() {
    std::string name = "XF86Fn";
    xkb_keysym_t keysym = XKB_KEY_XF86Fn;
    std::optional<xcb_keycode_t> code;
    if (const char* forced = std::getenv("PELLUM_DICTATION_KEY"); forced && *forced) {
      name = forced;
      keysym = xkb_keysym_from_name(forced, XKB_KEYSYM_NO_FLAGS);
      if (keysym == XKB_KEY_NoSymbol) return unavailable("PELLUM_DICTATION_KEY names no key: \"" + name + "\"");
      code = keycodeFor(connection_, keysym);
      if (!code) return unavailable("the keyboard has no " + name + " key");
    } else if (!(code = keycodeFor(connection_, keysym))) {
      // Most PC keyboards handle Fn in firmware; Right Ctrl is the key
      // nearly every keyboard has and few shortcuts need.
      name = "Control_R";
      keysym = XKB_KEY_Control_R;
      code = keycodeFor(connection_, keysym);
      if (!code) return unavailable("the keyboard has neither an Fn nor a Right Ctrl key");
    }
    keycode_ = *code;
    key_ = describeDictationKey(keysym, name);
    return true;
  }

  bool grabWith(uint16_t modifiers) {
    auto cookie = xcb_grab_key_checked(connection_, 0, root_, modifiers, keycode_, XCB_GRAB_MODE_ASYNC,
                                       XCB_GRAB_MODE_ASYNC);
    if (xcb_generic_error_t* error = xcb_request_check(connection_, cookie)) {
      free(error);
      return false;
    }
    grabbedModifiers_.push_back(modifiers);
    return true;
  }

  bool grab() {
    if (grabWith(XCB_MOD_MASK_ANY)) return true;
    // Some servers refuse AnyModifier when another client holds one
    // combination; then take the usual lock-key variants one by one.
    bool any = false;
    constexpr uint16_t kLock = XCB_MOD_MASK_LOCK;
    constexpr uint16_t kNumLock = XCB_MOD_MASK_2;
    for (uint16_t modifiers : {uint16_t{0}, kLock, kNumLock, static_cast<uint16_t>(kLock | kNumLock)}) {
      any = grabWith(modifiers) || any;
    }
    if (any) return true;
    const std::string name = key_.displayName;
    keycode_ = 0;
    return unavailable("another program holds the " + name + " key");
  }

  void ungrab() {
    for (uint16_t modifiers : grabbedModifiers_) xcb_ungrab_key(connection_, keycode_, root_, modifiers);
    grabbedModifiers_.clear();
    if (connection_) xcb_flush(connection_);
  }

  void readEvents() {
    // Replies read while re-grabbing can pull events off the socket into
    // xcb's own queue, where the socket notifier never sees them; so drain
    // again after every re-grab, until nothing is left.
    bool remap = true;
    while (remap) {
      remap = false;
      while (xcb_generic_event_t* event = xcb_poll_for_event(connection_)) {
        remap = handleEvent(event) || remap;
        free(event);
      }
      if (xcb_connection_has_error(connection_)) {
        notifier_->setEnabled(false);
        unavailable("lost the connection to the X server");
        return;
      }
      if (remap) start();
    }
  }

  // Returns whether the keymap may have moved the key.
  bool handleEvent(xcb_generic_event_t* event) {
    const uint8_t type = event->response_type & 0x7F;
    if (type == XCB_KEY_PRESS && reinterpret_cast<xcb_key_press_event_t*>(event)->detail == keycode_) {
      keyWentDown();
    } else if (type == XCB_KEY_RELEASE && reinterpret_cast<xcb_key_release_event_t*>(event)->detail == keycode_) {
      keyWentUp();
    }
    return type == XCB_MAPPING_NOTIFY || type == xkbEventBase_;
  }

  xcb_connection_t* connection_ = nullptr;
  QSocketNotifier* notifier_ = nullptr;
  xcb_window_t root_ = 0;
  uint8_t xkbEventBase_ = 0;
  xcb_keycode_t keycode_ = 0;
  std::vector<uint16_t> grabbedModifiers_;
  DictationKey key_;
  std::string reason_;
};

class UnavailableHotkeyManager : public HotkeyManager {
 public:
  explicit UnavailableHotkeyManager(std::string reason) : reason_(std::move(reason)) {}
  bool start() override {
    logLine(reason_);
    return false;
  }
  std::optional<DictationKey> key() const override { return std::nullopt; }
  std::string unavailableReason() const override { return reason_; }

 private:
  std::string reason_;
};

}  // namespace

std::unique_ptr<HotkeyManager> makeX11HotkeyManager() { return std::make_unique<X11HotkeyManager>(); }

std::unique_ptr<HotkeyManager> makeUnavailableHotkeyManager(std::string reason) {
  return std::make_unique<UnavailableHotkeyManager>(std::move(reason));
}

}  // namespace pellum
