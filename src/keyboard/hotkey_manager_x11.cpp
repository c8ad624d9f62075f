// The dictation key on X11. A dedicated xcb connection grabs the key on the
// root window, so its presses and releases come to us and never reach the
// focused window, while every other key goes where it always went.
// Detectable auto-repeat turns a held key into one press and one release
// instead of a stream of fake release/press pairs.
//
// The grab is never let go while the key stays on the same keycode: a grab
// belongs to a keycode, not to a keymap, so the keymap notifications that
// arrive all the time (every switch between a physical keyboard and XTest
// sends one) need no re-grab at all. When a new keymap does move the key,
// the new keycode is grabbed before the old one is released, so there is no
// moment in which a press goes to the focused window instead of to us.

#include "keyboard/hotkey_manager_x11.h"

#include <QSocketNotifier>
#include <QTimer>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>
#include <vector>

#include <xcb/xcb.h>
#include <xcb/xtest.h>
#include <xkbcommon/xkbcommon-x11.h>
#include <xkbcommon/xkbcommon.h>

// xkb.h names a field "explicit"; rename it while the header is read.
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit

#include "base/log_line.h"
#include "base/threads.h"

namespace pellum {
namespace {

void logHotkey(const std::string& line) { logLine("HotkeyManager: " + line); }

// Keymap notifications come in bursts (one per changed component, several
// per layout switch); one look at the keymap after the burst is enough.
constexpr int kRemapCoalesceMs = 50;
// "Other…" waits this long for a key before it gives up.
constexpr int kCaptureTimeoutMs = 15000;
constexpr int kCaptureAttempts = 20;
constexpr int kCaptureRetryMs = 50;
// A key pressed this soon after the dictation key makes a shortcut (Right
// Ctrl+C): the dictation is dropped and the keys go to the application.
constexpr xcb_timestamp_t kShortcutWindowMs = 500;
// How often to look whether a key handed back to the application is up.
constexpr int kHandBackPollMs = 30;

bool isModifierKeysym(xkb_keysym_t keysym) {
  return (keysym >= XKB_KEY_Shift_L && keysym <= XKB_KEY_Hyper_R) ||
         (keysym >= XKB_KEY_ISO_Lock && keysym <= XKB_KEY_ISO_Last_Group_Lock) ||
         keysym == XKB_KEY_Mode_switch || keysym == XKB_KEY_Num_Lock;
}

std::string keysymName(xkb_keysym_t keysym) {
  char name[64];
  return xkb_keysym_get_name(keysym, name, sizeof name) > 0 ? std::string(name) : std::string();
}

// One passive grab of a keycode on the root window, in every modifier
// combination that could be held with it.
struct KeyGrab {
  xcb_keycode_t keycode = 0;
  std::vector<uint16_t> modifiers;

  bool active() const { return !modifiers.empty(); }
};

class X11HotkeyManager : public HotkeyManager {
 public:
  X11HotkeyManager() {
    remapTimer_.setSingleShot(true);
    remapTimer_.setInterval(kRemapCoalesceMs);
    QObject::connect(&remapTimer_, &QTimer::timeout, this, [this] {
      followKeymap();
      readEvents();
    });
    handBackWatch_.setInterval(kHandBackPollMs);
    QObject::connect(&handBackWatch_, &QTimer::timeout, this, [this] { checkHandedBackKey(); });
    captureTimer_.setSingleShot(true);
    QObject::connect(&captureTimer_, &QTimer::timeout, this, [this] { finishCapture(std::nullopt); });
  }

  ~X11HotkeyManager() override {
    delete notifier_;
    if (keymap_) xkb_keymap_unref(keymap_);
    if (context_) xkb_context_unref(context_);
    if (connection_) xcb_disconnect(connection_);
  }

  bool start() override {
    if (!connection_ && !connect()) return false;
    if (!loadKeymap()) return unavailable("cannot read the keyboard's keymap");
    const auto target = resolveKey();
    if (!target) return false;
    auto error = grabInPlaceOf(*target);
    if (error && currentRequest().source == DictationKeyRequest::Source::preference) {
      // The stored key is taken by another program this session; dictation
      // still works on the automatic key.
      logHotkey(errorReason(*error) + "; using the automatic key instead");
      if (const auto automatic = targetFor({})) error = grabInPlaceOf(*automatic);
    }
    readEventsSoon();
    if (error) return unavailable(errorReason(*error));
    reason_.clear();
    return true;
  }

  std::optional<DictationKey> key() const override {
    return keyGrab_.active() ? std::optional(key_) : std::nullopt;
  }

  std::string unavailableReason() const override { return reason_; }

  std::optional<DictationKeyError> chooseKey(const std::string& keysymName) override {
    std::string previous = std::exchange(requested_, keysymName);
    if (!connection_ || !keymap_) return std::nullopt;
    const DictationKeyRequest request = currentRequest();
    if (request.source == DictationKeyRequest::Source::environment) return std::nullopt;
    auto target = targetFor(request.keysymName);
    std::optional<DictationKeyError> error = target ? grabInPlaceOf(*target) : target.error();
    readEventsSoon();
    if (error) {
      // The old key stays, and so does the choice that named it.
      requested_ = std::move(previous);
    } else {
      reason_.clear();
    }
    return error;
  }

  std::vector<DictationKey> availableKeys() const override {
    if (!keymap_) return {};
    return dictationKeyCandidates([this](std::string_view name) {
      const xkb_keysym_t keysym = xkb_keysym_from_name(std::string(name).c_str(), XKB_KEYSYM_NO_FLAGS);
      return keysym != XKB_KEY_NoSymbol && keycodeFor(keysym).has_value();
    });
  }

  void captureNextKey(KeyChosen onKey) override {
    if (capture_) finishCapture(std::nullopt);
    if (!connection_) return onKey(std::nullopt);
    captureAttempts_ = 0;
    tryToCapture(std::move(onKey));
  }

  void setCancelKeyArmed(bool armed) override {
    if (!connection_ || armed == cancelArmed_) return;
    cancelArmed_ = armed;
    if (!armed) {
      ungrab(escapeGrab_);
    } else if (const auto code = keycodeFor(XKB_KEY_Escape)) {
      // Another program's Escape grab only costs the cancel key.
      grab(*code, escapeGrab_);
    }
    xcb_flush(connection_);
    readEventsSoon();
  }

 private:
  struct Target {
    xcb_keycode_t keycode;
    DictationKey key;
  };

  class TargetOrError {
   public:
    TargetOrError(Target target) : target_(std::move(target)) {}
    TargetOrError(DictationKeyError error) : error_(std::move(error)) {}
    explicit operator bool() const { return target_.has_value(); }
    const Target& operator*() const { return *target_; }
    const DictationKeyError& error() const { return *error_; }

   private:
    std::optional<Target> target_;
    std::optional<DictationKeyError> error_;
  };

  bool unavailable(std::string reason) {
    reason_ = std::move(reason);
    logHotkey(reason_);
    return false;
  }

  static std::string errorReason(const DictationKeyError& error) {
    if (error.kind == DictationKeyError::Kind::heldByAnotherProgram) {
      return "another program holds the " + error.keyName + " key";
    }
    return error.description();
  }

  bool connect() {
    connection_ = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(connection_)) {
      xcb_disconnect(connection_);
      connection_ = nullptr;
      return unavailable("no X display to watch the dictation key on");
    }
    if (!xkb_x11_setup_xkb_extension(connection_, XKB_X11_MIN_MAJOR_XKB_VERSION,
                                     XKB_X11_MIN_MINOR_XKB_VERSION, XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS,
                                     nullptr, nullptr, &xkbEventBase_, nullptr)) {
      return unavailable("the X server has no keyboard extension (XKB)");
    }
    context_ = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
    root_ = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data->root;

    // One press and one release for a held key, not a repeat stream.
    free(xcb_xkb_per_client_flags_reply(
        connection_,
        xcb_xkb_per_client_flags(connection_, XCB_XKB_ID_USE_CORE_KBD,
                                 XCB_XKB_PER_CLIENT_FLAG_DETECTABLE_AUTO_REPEAT,
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

  bool loadKeymap() {
    const int32_t device = xkb_x11_get_core_keyboard_device_id(connection_);
    xkb_keymap* fresh =
        (context_ && device >= 0)
            ? xkb_x11_keymap_new_from_device(context_, connection_, device, XKB_KEYMAP_COMPILE_NO_FLAGS)
            : nullptr;
    if (!fresh) return false;
    if (keymap_) xkb_keymap_unref(keymap_);
    keymap_ = fresh;
    return true;
  }

  // The first keycode whose first level produces `keysym`, if any.
  std::optional<xcb_keycode_t> keycodeFor(xkb_keysym_t keysym) const {
    for (xkb_keycode_t code = xkb_keymap_min_keycode(keymap_);
         code <= xkb_keymap_max_keycode(keymap_) && code <= 255; ++code) {
      const xkb_keysym_t* syms = nullptr;
      const int count = xkb_keymap_key_get_syms_by_level(keymap_, code, 0, 0, &syms);
      for (int i = 0; i < count; ++i) {
        if (syms[i] == keysym) return static_cast<xcb_keycode_t>(code);
      }
    }
    return std::nullopt;
  }

  xkb_keysym_t keysymAt(xcb_keycode_t code) const {
    const xkb_keysym_t* syms = nullptr;
    return keymap_ && xkb_keymap_key_get_syms_by_level(keymap_, code, 0, 0, &syms) > 0 ? syms[0]
                                                                                       : XKB_KEY_NoSymbol;
  }

  DictationKeyRequest currentRequest() const {
    const char* forced = std::getenv("PELLUM_DICTATION_KEY");
    return requestedDictationKey(forced ? std::optional<std::string>(forced) : std::nullopt, requested_);
  }

  // The keycode and names for a keysym name, or the automatic choice for
  // an empty one.
  TargetOrError targetFor(const std::string& name) const {
    if (name.empty()) {
      // Most PC keyboards handle Fn in firmware; Right Ctrl is the key
      // nearly every keyboard has and few shortcuts need.
      for (const char* automatic : {"XF86Fn", "Control_R"}) {
        const xkb_keysym_t keysym = xkb_keysym_from_name(automatic, XKB_KEYSYM_NO_FLAGS);
        if (const auto code = keycodeFor(keysym))
          return Target{*code, describeDictationKey(keysym, automatic)};
      }
      return DictationKeyError{DictationKeyError::Kind::notOnKeyboard, "Fn or Right Ctrl"};
    }
    const xkb_keysym_t keysym = xkb_keysym_from_name(name.c_str(), XKB_KEYSYM_NO_FLAGS);
    if (keysym == XKB_KEY_NoSymbol) return DictationKeyError{DictationKeyError::Kind::unknownName, name};
    const DictationKey key = describeDictationKey(keysym, name);
    const auto code = keycodeFor(keysym);
    if (!code) return DictationKeyError{DictationKeyError::Kind::notOnKeyboard, key.displayName};
    return Target{*code, key};
  }

  // The key to watch now. A stored choice this keyboard cannot give falls
  // back to the automatic one; a forced one that cannot be had leaves the
  // key unavailable.
  std::optional<Target> resolveKey() {
    const DictationKeyRequest request = currentRequest();
    auto target = targetFor(request.keysymName);
    if (target) return *target;
    if (request.source == DictationKeyRequest::Source::environment) {
      if (target.error().kind == DictationKeyError::Kind::unknownName) {
        unavailable("PELLUM_DICTATION_KEY names no key: \"" + request.keysymName + "\"");
      } else {
        unavailable("the keyboard has no " + request.keysymName + " key");
      }
      return std::nullopt;
    }
    if (request.source == DictationKeyRequest::Source::preference) {
      logHotkey(target.error().description() + "; using the automatic key instead");
      if (auto automatic = targetFor({})) return *automatic;
    }
    unavailable("the keyboard has neither an Fn nor a Right Ctrl key");
    return std::nullopt;
  }

  // Grabs `target` and only then lets go of the key grabbed before, so a
  // press always has a grab to land in. On failure the old grab stays.
  std::optional<DictationKeyError> grabInPlaceOf(const Target& target) {
    if (keyGrab_.active() && target.keycode == keyGrab_.keycode) {
      key_ = target.key;
      return std::nullopt;
    }
    KeyGrab fresh;
    if (!grab(target.keycode, fresh)) {
      return DictationKeyError{DictationKeyError::Kind::heldByAnotherProgram, target.key.displayName};
    }
    ungrab(keyGrab_);
    keyGrab_ = std::move(fresh);
    key_ = target.key;
    xcb_flush(connection_);
    return std::nullopt;
  }

  bool grabWith(xcb_keycode_t code, uint16_t modifiers, KeyGrab& into) {
    auto cookie = xcb_grab_key_checked(connection_, 0, root_, modifiers, code, XCB_GRAB_MODE_ASYNC,
                                       XCB_GRAB_MODE_ASYNC);
    if (xcb_generic_error_t* error = xcb_request_check(connection_, cookie)) {
      free(error);
      return false;
    }
    into.keycode = code;
    into.modifiers.push_back(modifiers);
    return true;
  }

  bool grab(xcb_keycode_t code, KeyGrab& into) {
    if (grabWith(code, XCB_MOD_MASK_ANY, into)) return true;
    // The server refuses AnyModifier when another client holds any one
    // combination of the key. The key on its own must be ours; the lock-key
    // variants are taken where they are free.
    if (!grabWith(code, 0, into)) return false;
    constexpr uint16_t kLock = XCB_MOD_MASK_LOCK;
    constexpr uint16_t kNumLock = XCB_MOD_MASK_2;
    for (uint16_t modifiers : {kLock, kNumLock, static_cast<uint16_t>(kLock | kNumLock)}) {
      grabWith(code, modifiers, into);
    }
    return true;
  }

  void ungrab(KeyGrab& grab) {
    for (uint16_t modifiers : grab.modifiers) xcb_ungrab_key(connection_, grab.keycode, root_, modifiers);
    grab = {};
  }

  // After a keymap change: follow the key only if it moved.
  void followKeymap() {
    if (!loadKeymap()) return;
    if (const auto target = resolveKey()) {
      if (auto error = grabInPlaceOf(*target)) logHotkey(errorReason(*error));
    }
    if (cancelArmed_) {
      const auto escape = keycodeFor(XKB_KEY_Escape);
      if (escape && *escape != escapeGrab_.keycode) {
        KeyGrab fresh;
        if (grab(*escape, fresh)) {
          ungrab(escapeGrab_);
          escapeGrab_ = std::move(fresh);
        }
      }
    }
    xcb_flush(connection_);
  }

  // Round trips (replies) can pull events off the socket into xcb's own
  // queue, where the socket notifier never sees them: look again soon.
  void readEventsSoon() {
    postTo(this, [this] { readEvents(); });
  }

  void readEvents() {
    if (!connection_) return;
    while (xcb_generic_event_t* event = xcb_poll_for_event(connection_)) {
      handleEvent(event);
      free(event);
    }
    if (xcb_connection_has_error(connection_)) {
      notifier_->setEnabled(false);
      unavailable("lost the connection to the X server");
    }
  }

  void handleEvent(xcb_generic_event_t* event) {
    const uint8_t type = event->response_type & 0x7F;
    if (type == XCB_MAPPING_NOTIFY || type == xkbEventBase_) {
      remapTimer_.start();
      return;
    }
    if (type != XCB_KEY_PRESS && type != XCB_KEY_RELEASE) return;
    const auto* key = reinterpret_cast<const xcb_key_press_event_t*>(event);
    if (capture_) return captureKey(type, key->detail);
    if (key->detail == heldKeycode_ || (!isHeld() && key->detail == keyGrab_.keycode)) {
      return type == XCB_KEY_PRESS ? dictationKeyDown(*key) : dictationKeyUp();
    }
    if (type == XCB_KEY_PRESS && key->detail == escapeGrab_.keycode && escapeGrab_.active())
      return cancelPressed();
    if (type == XCB_KEY_PRESS && keysymAt(key->detail) == XKB_KEY_Escape && isHeld()) return cancelPressed();
    otherKey(type, *key);
  }

  void dictationKeyDown(const xcb_key_press_event_t& event) {
    // After a shortcut the key belongs to the application until it is
    // released; a repeat of it must not start a dictation.
    if (handedBack_) return;
    heldKeycode_ = event.detail;
    heldSince_ = event.time;
    keyWentDown();
  }

  void dictationKeyUp() {
    heldKeycode_ = 0;
    if (std::exchange(handedBack_, false)) {
      handBackWatch_.stop();
      return;
    }
    keyWentUp();
  }

  // Any other key reaches us only while the dictation key is held (its
  // grab holds the whole keyboard until release). Soon after the press it
  // makes a shortcut: the dictation is dropped, the keyboard is let go and
  // the key is typed again for the focused window, which sees the same
  // combination it would have seen without us. Later in a dictation other
  // keys are held back, except modifiers, which change nothing.
  void otherKey(uint8_t type, const xcb_key_press_event_t& event) {
    if (handedBack_) {
      if (type == XCB_KEY_PRESS) replay(event.detail);
      return;
    }
    if (!isHeld() || type != XCB_KEY_PRESS || isModifierKeysym(keysymAt(event.detail))) return;
    if (event.time - heldSince_ > kShortcutWindowMs) return;
    handedBack_ = true;
    handedBackKeycode_ = heldKeycode_;
    heldKeycode_ = 0;
    forgetHeldKey();
    cancelPressed();
    xcb_ungrab_keyboard(connection_, XCB_CURRENT_TIME);
    replay(event.detail);
    // The key's release now goes to the application, not to us: watch for
    // it going up, so that its next press is a dictation again.
    handBackWatch_.start();
  }

  void checkHandedBackKey() {
    std::unique_ptr<xcb_query_keymap_reply_t, decltype(&free)> keys(
        xcb_query_keymap_reply(connection_, xcb_query_keymap(connection_), nullptr), &free);
    readEventsSoon();
    const bool down = keys && (keys->keys[handedBackKeycode_ / 8] & (1 << (handedBackKeycode_ % 8)));
    if (down) return;
    handedBack_ = false;
    handBackWatch_.stop();
  }

  // Types the key once through XTest: a press and a release, so the
  // XTest device never keeps a key down.
  void replay(xcb_keycode_t code) {
    xcb_test_fake_input(connection_, XCB_KEY_PRESS, code, XCB_CURRENT_TIME, root_, 0, 0, 0);
    xcb_test_fake_input(connection_, XCB_KEY_RELEASE, code, XCB_CURRENT_TIME, root_, 0, 0, 0);
    xcb_flush(connection_);
  }

  // The menu the choice came from may still hold the keyboard for a moment
  // (its release travels on the toolkit's own connection), so a refused
  // grab is tried again for a little while.
  void tryToCapture(KeyChosen onKey) {
    std::unique_ptr<xcb_grab_keyboard_reply_t, decltype(&free)> reply(
        xcb_grab_keyboard_reply(connection_,
                                xcb_grab_keyboard(connection_, 0, root_, XCB_CURRENT_TIME,
                                                  XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC),
                                nullptr),
        &free);
    readEventsSoon();
    if (reply && reply->status == XCB_GRAB_STATUS_SUCCESS) {
      capture_ = std::move(onKey);
      captureTimer_.start(kCaptureTimeoutMs);
      return;
    }
    if (++captureAttempts_ < kCaptureAttempts) {
      QTimer::singleShot(kCaptureRetryMs, this,
                         [this, onKey = std::move(onKey)]() mutable { tryToCapture(std::move(onKey)); });
      return;
    }
    logHotkey("cannot take the keyboard to learn a new key: another program holds it");
    onKey(std::nullopt);
  }

  void captureKey(uint8_t type, xcb_keycode_t code) {
    if (type != XCB_KEY_PRESS) return;
    const xkb_keysym_t keysym = keysymAt(code);
    if (keysym == XKB_KEY_Escape || keysym == XKB_KEY_NoSymbol) return finishCapture(std::nullopt);
    finishCapture(keysymName(keysym));
  }

  void finishCapture(std::optional<std::string> name) {
    captureTimer_.stop();
    xcb_ungrab_keyboard(connection_, XCB_CURRENT_TIME);
    xcb_flush(connection_);
    if (KeyChosen done = std::exchange(capture_, nullptr)) {
      postTo(this, [done, name] { done(name); });
    }
  }

  xcb_connection_t* connection_ = nullptr;
  QSocketNotifier* notifier_ = nullptr;
  xcb_window_t root_ = 0;
  uint8_t xkbEventBase_ = 0;
  xkb_context* context_ = nullptr;
  xkb_keymap* keymap_ = nullptr;
  std::string requested_;
  KeyGrab keyGrab_;
  KeyGrab escapeGrab_;
  bool cancelArmed_ = false;
  DictationKey key_;
  // The keycode of the reported press: its release ends the hold even if a
  // new keymap has moved the key meanwhile.
  xcb_keycode_t heldKeycode_ = 0;
  xcb_timestamp_t heldSince_ = 0;
  bool handedBack_ = false;
  xcb_keycode_t handedBackKeycode_ = 0;
  QTimer handBackWatch_;
  KeyChosen capture_;
  int captureAttempts_ = 0;
  QTimer remapTimer_;
  QTimer captureTimer_;
  std::string reason_;
};

class UnavailableHotkeyManager : public HotkeyManager {
 public:
  explicit UnavailableHotkeyManager(std::string reason) : reason_(std::move(reason)) {}
  bool start() override {
    logHotkey(reason_);
    return false;
  }
  std::optional<DictationKey> key() const override { return std::nullopt; }
  std::string unavailableReason() const override { return reason_; }
  std::optional<DictationKeyError> chooseKey(const std::string&) override {
    return DictationKeyError{DictationKeyError::Kind::noKeyboardAccess, {}};
  }

 private:
  std::string reason_;
};

}  // namespace

std::unique_ptr<HotkeyManager> makeX11HotkeyManager() { return std::make_unique<X11HotkeyManager>(); }

std::unique_ptr<HotkeyManager> makeUnavailableHotkeyManager(std::string reason) {
  return std::make_unique<UnavailableHotkeyManager>(std::move(reason));
}

}  // namespace pellum
