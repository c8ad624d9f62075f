// Pasting on Wayland, from a connection of our own: the clipboard through
// wlr data-control (no surface or focus needed), the keystroke through one
// virtual keyboard carrying the user's real keymap, and the focused
// application's app id through wlr foreign-toplevel to tell terminals apart.
//
// The virtual keyboard is a device of its own: the compositor shows the
// focused client this device's modifiers while it types, so modifiers the
// user still holds on the real keyboard do not mix into the paste keys, and
// the real keyboard's state comes back with its next key.

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <unistd.h>
#include <QElapsedTimer>
#include <QSocketNotifier>
#include <QThread>
#include <QTimer>
#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include <wayland-client.h>
#include <xkbcommon/xkbcommon.h>

#include "base/log_line.h"
#include "keyboard/paste_shortcut.h"
#include "keyboard/text_inserter_x11.h"
#include "wayland/virtual-keyboard-unstable-v1-client-protocol.h"
#include "wayland/wayland_connection.h"
#include "wayland/wlr-data-control-unstable-v1-client-protocol.h"
#include "wayland/wlr-foreign-toplevel-management-unstable-v1-client-protocol.h"

namespace pellum {
namespace {

constexpr std::array<const char*, 5> kTextTypes{
    {"text/plain;charset=utf-8", "text/plain", "UTF8_STRING", "STRING", "TEXT"}};
// How long reading the old clipboard may hold up the paste.
constexpr int kReadDeadlineMs = 200;
// The old text comes back this long after the paste even when no one fetched.
constexpr int kRestoreTimeoutMs = 2000;
// A new keyboard's first key is lost while the compositor still announces it.
constexpr int kKeyboardSettleMs = 50;

constexpr uint32_t kKeyLeftCtrl = 29;
constexpr uint32_t kKeyLeftShift = 42;
constexpr uint32_t kKeyV = 47;

// Writes `text` into a pipe the reader gave us, without blocking the event
// loop on a slow reader; deletes itself when done or when the reader left.
class PipeWriter : public QObject {
 public:
  PipeWriter(int fd, std::shared_ptr<const std::string> text)
      : fd_(fd), text_(std::move(text)), notifier_(fd, QSocketNotifier::Write) {
    fcntl(fd_, F_SETFL, fcntl(fd_, F_GETFL) | O_NONBLOCK);
    connect(&notifier_, &QSocketNotifier::activated, this, [this] { writeSome(); });
    QTimer::singleShot(kRestoreTimeoutMs * 5, this, [this] { deleteLater(); });
    writeSome();
  }
  ~PipeWriter() override { close(fd_); }

 private:
  void writeSome() {
    while (written_ < text_->size()) {
      const ssize_t n = write(fd_, text_->data() + written_, text_->size() - written_);
      if (n > 0) {
        written_ += static_cast<std::size_t>(n);
      } else if (n < 0 && errno == EINTR) {
        continue;
      } else if (n < 0 && errno == EAGAIN) {
        return;  // the notifier calls again when there is room
      } else {
        break;
      }
    }
    notifier_.setEnabled(false);
    deleteLater();
  }

  int fd_;
  std::shared_ptr<const std::string> text_;
  std::size_t written_ = 0;
  QSocketNotifier notifier_;
};

// The seat's clipboard through data-control: follows the current selection
// so its text can be read, and offers text of our own.
class DataControlClipboard {
 public:
  DataControlClipboard(WaylandConnection& connection, zwlr_data_control_manager_v1* manager, wl_seat* seat)
      : connection_(connection), manager_(manager) {
    device_ = zwlr_data_control_manager_v1_get_data_device(manager_, seat);
    zwlr_data_control_device_v1_add_listener(device_, &kDeviceListener, this);
  }
  ~DataControlClipboard() {
    for (auto& [offer, types] : offers_) zwlr_data_control_offer_v1_destroy(offer);
    for (auto& [source, text] : sources_) zwlr_data_control_source_v1_destroy(source);
    zwlr_data_control_device_v1_destroy(device_);
  }

  // The current selection's plain text; nothing when it has none or the
  // owner did not answer in time.
  std::optional<std::string> text() {
    if (selection_ && sources_.count(ownedSource_)) return *sources_[ownedSource_];
    if (!selection_) return std::nullopt;
    const std::vector<std::string>& types = offers_[selection_];
    const char* type = nullptr;
    for (const char* candidate : kTextTypes) {
      for (const std::string& offered : types) {
        if (offered == candidate) {
          type = candidate;
          break;
        }
      }
      if (type) break;
    }
    if (!type) return std::nullopt;
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0) return std::nullopt;
    zwlr_data_control_offer_v1_receive(selection_, type, fds[1]);
    connection_.flush();
    close(fds[1]);
    return readAll(fds[0]);
  }

  // Makes `text` the selection. `onFetched` runs when a client asks for it.
  void offer(const std::string& text, std::function<void()> onFetched = {}) {
    zwlr_data_control_source_v1* source = zwlr_data_control_manager_v1_create_data_source(manager_);
    for (const char* type : kTextTypes) zwlr_data_control_source_v1_offer(source, type);
    zwlr_data_control_source_v1_add_listener(source, &kSourceListener, this);
    sources_[source] = std::make_shared<const std::string>(text);
    fetched_[source] = std::move(onFetched);
    zwlr_data_control_device_v1_set_selection(device_, source);
    ownedSource_ = source;
    connection_.flush();
  }

  void clear() {
    zwlr_data_control_device_v1_set_selection(device_, nullptr);
    ownedSource_ = nullptr;
    connection_.flush();
  }

 private:
  static std::optional<std::string> readAll(int fd) {
    std::string text;
    QElapsedTimer clock;
    clock.start();
    char buffer[65536];
    for (;;) {
      const auto left = static_cast<int>(kReadDeadlineMs - clock.elapsed());
      pollfd poller{fd, POLLIN, 0};
      if (left <= 0 || poll(&poller, 1, left) <= 0) {
        close(fd);
        logLine("TextInserter: the clipboard's owner did not hand over its text in time");
        return std::nullopt;
      }
      const ssize_t n = read(fd, buffer, sizeof buffer);
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) break;
      text.append(buffer, static_cast<std::size_t>(n));
    }
    close(fd);
    return text;
  }

  static void handleDataOffer(void* data, zwlr_data_control_device_v1*, zwlr_data_control_offer_v1* offer) {
    auto* self = static_cast<DataControlClipboard*>(data);
    self->offers_[offer] = {};
    zwlr_data_control_offer_v1_add_listener(offer, &kOfferListener, self);
  }
  static void handleSelection(void* data, zwlr_data_control_device_v1*, zwlr_data_control_offer_v1* offer) {
    auto* self = static_cast<DataControlClipboard*>(data);
    if (self->selection_ && self->selection_ != offer) self->forget(self->selection_);
    self->selection_ = offer;
  }
  static void handleFinished(void* data, zwlr_data_control_device_v1*) {
    static_cast<DataControlClipboard*>(data)->selection_ = nullptr;
  }
  static void handlePrimarySelection(void* data, zwlr_data_control_device_v1*,
                                     zwlr_data_control_offer_v1* offer) {
    // Only the clipboard is used; the primary selection's offers are let go.
    if (offer) static_cast<DataControlClipboard*>(data)->forget(offer);
  }
  static void handleOffer(void* data, zwlr_data_control_offer_v1* offer, const char* type) {
    static_cast<DataControlClipboard*>(data)->offers_[offer].emplace_back(type);
  }
  static void handleSend(void* data, zwlr_data_control_source_v1* source, const char*, int32_t fd) {
    auto* self = static_cast<DataControlClipboard*>(data);
    new PipeWriter(fd, self->sources_[source]);
    if (auto& onFetched = self->fetched_[source]) {
      auto run = std::move(onFetched);
      onFetched = nullptr;
      run();
    }
  }
  static void handleCancelled(void* data, zwlr_data_control_source_v1* source) {
    auto* self = static_cast<DataControlClipboard*>(data);
    self->sources_.erase(source);
    self->fetched_.erase(source);
    if (self->ownedSource_ == source) self->ownedSource_ = nullptr;
    zwlr_data_control_source_v1_destroy(source);
  }

  void forget(zwlr_data_control_offer_v1* offer) {
    offers_.erase(offer);
    zwlr_data_control_offer_v1_destroy(offer);
  }

  static constexpr zwlr_data_control_device_v1_listener kDeviceListener{
      handleDataOffer, handleSelection, handleFinished, handlePrimarySelection};
  static constexpr zwlr_data_control_offer_v1_listener kOfferListener{handleOffer};
  static constexpr zwlr_data_control_source_v1_listener kSourceListener{handleSend, handleCancelled};

  WaylandConnection& connection_;
  zwlr_data_control_manager_v1* manager_;
  zwlr_data_control_device_v1* device_ = nullptr;
  std::map<zwlr_data_control_offer_v1*, std::vector<std::string>> offers_;
  zwlr_data_control_offer_v1* selection_ = nullptr;
  std::map<zwlr_data_control_source_v1*, std::shared_ptr<const std::string>> sources_;
  std::map<zwlr_data_control_source_v1*, std::function<void()>> fetched_;
  zwlr_data_control_source_v1* ownedSource_ = nullptr;
};

// One virtual keyboard on the seat for the program's life (a keyboard per
// paste loses pastes in some toolkits), carrying the seat's own keymap so
// toolkits read our keys as the user's keys.
class SeatKeyboard {
 public:
  SeatKeyboard(WaylandConnection& connection, zwp_virtual_keyboard_manager_v1* manager, wl_seat* seat)
      : connection_(connection), manager_(manager), seat_(seat) {
    wl_seat_add_listener(seat_, &kSeatListener, this);
  }

  // A seat with no keyboard yet (a desktop started without one) has no
  // keymap to copy: type with the default one, as the compositor would.
  void adoptDefaultKeymap() {
    if (virtual_) return;
    xkb_context* context = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
    xkb_keymap* keymap = xkb_keymap_new_from_names(context, nullptr, XKB_KEYMAP_COMPILE_NO_FLAGS);
    char* text = keymap ? xkb_keymap_get_as_string(keymap, XKB_KEYMAP_FORMAT_TEXT_V1) : nullptr;
    if (text) {
      const auto size = static_cast<uint32_t>(strlen(text) + 1);
      const int fd = memfd_create("pellum-keymap", MFD_CLOEXEC);
      if (fd >= 0 && write(fd, text, size) == static_cast<ssize_t>(size))
        adopt(WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1, fd, size);
      if (fd >= 0) close(fd);
      free(text);
    }
    if (keymap) xkb_keymap_unref(keymap);
    xkb_context_unref(context);
  }
  ~SeatKeyboard() {
    if (virtual_) zwp_virtual_keyboard_v1_destroy(virtual_);
    if (keyboard_) wl_keyboard_release(keyboard_);
  }

  bool isReady() const { return virtual_ != nullptr; }

  // Presses and lets go of `keys` (evdev codes) as one chord, the modifiers
  // among them also announced as such: wlroots does not derive a virtual
  // keyboard's modifiers from its keys.
  void chord(const std::vector<uint32_t>& keys) {
    const auto wait = kKeyboardSettleMs - sinceCreated_.elapsed();
    if (wait > 0) QThread::msleep(static_cast<unsigned long>(wait));
    uint32_t mods = 0;
    for (uint32_t key : keys) {
      zwp_virtual_keyboard_v1_key(virtual_, now(), key, WL_KEYBOARD_KEY_STATE_PRESSED);
      if (key == kKeyLeftCtrl) mods |= controlMask_;
      if (key == kKeyLeftShift) mods |= shiftMask_;
      if (key == kKeyLeftCtrl || key == kKeyLeftShift)
        zwp_virtual_keyboard_v1_modifiers(virtual_, mods, 0, 0, 0);
    }
    for (auto it = keys.rbegin(); it != keys.rend(); ++it) {
      zwp_virtual_keyboard_v1_key(virtual_, now(), *it, WL_KEYBOARD_KEY_STATE_RELEASED);
      if (*it == kKeyLeftCtrl) mods &= ~controlMask_;
      if (*it == kKeyLeftShift) mods &= ~shiftMask_;
      if (*it == kKeyLeftCtrl || *it == kKeyLeftShift)
        zwp_virtual_keyboard_v1_modifiers(virtual_, mods, 0, 0, 0);
    }
    connection_.flush();
  }

 private:
  uint32_t now() const { return static_cast<uint32_t>(clock_.elapsed()); }

  static void handleKeymap(void* data, wl_keyboard*, uint32_t format, int32_t fd, uint32_t size) {
    auto* self = static_cast<SeatKeyboard*>(data);
    if (!self->virtual_) self->adopt(format, fd, size);
    close(fd);
  }

  // Copies the seat's keymap into memory of our own and hands it to a new
  // virtual keyboard.
  void adopt(uint32_t format, int fd, uint32_t size) {
    void* map = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd, 0);
    if (map == MAP_FAILED) return;
    const int copy = memfd_create("pellum-keymap", MFD_CLOEXEC);
    const bool copied = copy >= 0 && write(copy, map, size) == static_cast<ssize_t>(size);
    if (format == WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1) learnModifiers(static_cast<const char*>(map), size);
    munmap(map, size);
    if (!copied) {
      if (copy >= 0) close(copy);
      return;
    }
    virtual_ = zwp_virtual_keyboard_manager_v1_create_virtual_keyboard(manager_, seat_);
    zwp_virtual_keyboard_v1_keymap(virtual_, format, copy, size);
    close(copy);
    connection_.flush();
    sinceCreated_.start();
  }

  void learnModifiers(const char* text, uint32_t size) {
    xkb_context* context = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
    xkb_keymap* keymap = xkb_keymap_new_from_buffer(context, text, strnlen(text, size),
                                                    XKB_KEYMAP_FORMAT_TEXT_V1, XKB_KEYMAP_COMPILE_NO_FLAGS);
    if (keymap) {
      const xkb_mod_index_t control = xkb_keymap_mod_get_index(keymap, XKB_MOD_NAME_CTRL);
      const xkb_mod_index_t shift = xkb_keymap_mod_get_index(keymap, XKB_MOD_NAME_SHIFT);
      if (control != XKB_MOD_INVALID) controlMask_ = 1u << control;
      if (shift != XKB_MOD_INVALID) shiftMask_ = 1u << shift;
      xkb_keymap_unref(keymap);
    }
    xkb_context_unref(context);
  }

  static void handleCapabilities(void* data, wl_seat*, uint32_t capabilities) {
    auto* self = static_cast<SeatKeyboard*>(data);
    if ((capabilities & WL_SEAT_CAPABILITY_KEYBOARD) && !self->keyboard_) {
      self->keyboard_ = wl_seat_get_keyboard(self->seat_);
      wl_keyboard_add_listener(self->keyboard_, &kKeyboardListener, self);
    }
  }
  static void handleSeatName(void*, wl_seat*, const char*) {}
  static constexpr wl_seat_listener kSeatListener{handleCapabilities, handleSeatName};

  static void handleEnter(void*, wl_keyboard*, uint32_t, wl_surface*, wl_array*) {}
  static void handleLeave(void*, wl_keyboard*, uint32_t, wl_surface*) {}
  static void handleKey(void*, wl_keyboard*, uint32_t, uint32_t, uint32_t, uint32_t) {}
  static void handleModifiers(void*, wl_keyboard*, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t) {}
  static void handleRepeatInfo(void*, wl_keyboard*, int32_t, int32_t) {}

  static constexpr wl_keyboard_listener kKeyboardListener{handleKeymap, handleEnter,     handleLeave,
                                                          handleKey,    handleModifiers, handleRepeatInfo};

  WaylandConnection& connection_;
  zwp_virtual_keyboard_manager_v1* manager_;
  wl_seat* seat_;
  wl_keyboard* keyboard_ = nullptr;
  zwp_virtual_keyboard_v1* virtual_ = nullptr;
  // The usual masks, should the keymap not name its modifiers.
  uint32_t shiftMask_ = 1u << 0;
  uint32_t controlMask_ = 1u << 2;
  QElapsedTimer clock_ = [] {
    QElapsedTimer timer;
    timer.start();
    return timer;
  }();
  QElapsedTimer sinceCreated_;
};

// The app id of the window that has the focus, as the compositor's
// foreign-toplevel list says (for XWayland windows, sway gives the X11
// class).
class FocusedToplevel {
 public:
  explicit FocusedToplevel(zwlr_foreign_toplevel_manager_v1* manager) : manager_(manager) {
    zwlr_foreign_toplevel_manager_v1_add_listener(manager_, &kManagerListener, this);
  }
  ~FocusedToplevel() {
    for (auto& [handle, state] : toplevels_) zwlr_foreign_toplevel_handle_v1_destroy(handle);
    zwlr_foreign_toplevel_manager_v1_destroy(manager_);
  }

  std::string appId() const {
    for (const auto& [handle, state] : toplevels_) {
      if (state.activated) return state.appId;
    }
    return {};
  }

 private:
  struct State {
    std::string appId;
    bool activated = false;
    std::string pendingAppId;
    bool pendingActivated = false;
  };

  static void handleToplevel(void* data, zwlr_foreign_toplevel_manager_v1*,
                             zwlr_foreign_toplevel_handle_v1* handle) {
    auto* self = static_cast<FocusedToplevel*>(data);
    self->toplevels_[handle] = {};
    zwlr_foreign_toplevel_handle_v1_add_listener(handle, &kHandleListener, self);
  }
  static void handleManagerFinished(void*, zwlr_foreign_toplevel_manager_v1*) {}

  static State& of(void* data, zwlr_foreign_toplevel_handle_v1* handle) {
    return static_cast<FocusedToplevel*>(data)->toplevels_[handle];
  }
  static void handleTitle(void*, zwlr_foreign_toplevel_handle_v1*, const char*) {}
  static void handleAppId(void* data, zwlr_foreign_toplevel_handle_v1* handle, const char* appId) {
    of(data, handle).pendingAppId = appId;
  }
  static void handleOutputEnter(void*, zwlr_foreign_toplevel_handle_v1*, wl_output*) {}
  static void handleOutputLeave(void*, zwlr_foreign_toplevel_handle_v1*, wl_output*) {}
  static void handleState(void* data, zwlr_foreign_toplevel_handle_v1* handle, wl_array* states) {
    bool activated = false;
    const auto* values = static_cast<const uint32_t*>(states->data);
    for (std::size_t i = 0; i < states->size / sizeof(uint32_t); ++i) {
      if (values[i] == ZWLR_FOREIGN_TOPLEVEL_HANDLE_V1_STATE_ACTIVATED) activated = true;
    }
    of(data, handle).pendingActivated = activated;
  }
  static void handleDone(void* data, zwlr_foreign_toplevel_handle_v1* handle) {
    State& state = of(data, handle);
    state.appId = state.pendingAppId;
    state.activated = state.pendingActivated;
  }
  static void handleClosed(void* data, zwlr_foreign_toplevel_handle_v1* handle) {
    static_cast<FocusedToplevel*>(data)->toplevels_.erase(handle);
    zwlr_foreign_toplevel_handle_v1_destroy(handle);
  }
  static void handleParent(void*, zwlr_foreign_toplevel_handle_v1*, zwlr_foreign_toplevel_handle_v1*) {}

  static constexpr zwlr_foreign_toplevel_manager_v1_listener kManagerListener{handleToplevel,
                                                                              handleManagerFinished};
  static constexpr zwlr_foreign_toplevel_handle_v1_listener kHandleListener{
      handleTitle, handleAppId, handleOutputEnter, handleOutputLeave,
      handleState, handleDone,  handleClosed,      handleParent};

  zwlr_foreign_toplevel_manager_v1* manager_;
  std::map<zwlr_foreign_toplevel_handle_v1*, State> toplevels_;
};

class WaylandTextInserter : public TextInserter {
 public:
  explicit WaylandTextInserter(std::unique_ptr<WaylandConnection> connection)
      : connection_(std::move(connection)) {
    seat_ = connection_->bind<wl_seat>(wl_seat_interface, 5);
    auto* dataControl =
        connection_->bind<zwlr_data_control_manager_v1>(zwlr_data_control_manager_v1_interface, 2);
    auto* keyboards =
        connection_->bind<zwp_virtual_keyboard_manager_v1>(zwp_virtual_keyboard_manager_v1_interface, 1);
    auto* toplevels =
        connection_->bind<zwlr_foreign_toplevel_manager_v1>(zwlr_foreign_toplevel_manager_v1_interface, 3);
    clipboard_ = std::make_unique<DataControlClipboard>(*connection_, dataControl, seat_);
    keyboard_ = std::make_unique<SeatKeyboard>(*connection_, keyboards, seat_);
    if (toplevels) focus_ = std::make_unique<FocusedToplevel>(toplevels);
    connection_->roundtrip();
    connection_->roundtrip();
    keyboard_->adoptDefaultKeymap();
    connection_->roundtrip();
  }
  ~WaylandTextInserter() override {
    clipboard_.reset();
    keyboard_.reset();
    focus_.reset();
    if (seat_) wl_seat_release(seat_);
  }

  bool isReady() const { return keyboard_->isReady(); }

  // A paste waits until the one before it was fetched: a new selection
  // before then would take the text away from under the target's read.
  void insert(const std::string& text) override {
    if (!connection_->isConnected()) return;
    queue_.push_back(text);
    if (!busy_) pasteNext();
  }

 private:
  void pasteNext() {
    if (queue_.empty()) {
      busy_ = false;
      return;
    }
    busy_ = true;
    const std::string text = queue_.front();
    queue_.pop_front();
    const auto serial = ++serial_;
    auto next = [this, serial] {
      if (serial_ == serial && busy_) QTimer::singleShot(0, &guard_, [this] { pasteNext(); });
    };
    paste(text, next);
    QTimer::singleShot(kRestoreTimeoutMs, &guard_, next);
  }

  void paste(const std::string& text, const std::function<void()>& onFetched) {
    const PasteKeys keys = pasteKeys();
    const std::optional<std::string> saved = clipboard_->text();
    auto restore = std::make_shared<Restore>(*clipboard_, saved);
    QElapsedTimer sincePaste;
    sincePaste.start();
    clipboard_->offer(text, [restore, sincePaste, onFetched] {
      onFetched();
      const auto left = kRestoreDelayMs - sincePaste.elapsed();
      restore->arm(static_cast<int>(std::max<qint64>(left, 0)));
    });
    QTimer::singleShot(kRestoreTimeoutMs, restore->guard(), [restore] { restore->run(); });
    if (keys == PasteKeys::controlV) {
      keyboard_->chord({kKeyLeftCtrl, kKeyV});
    } else {
      // xterm's Shift+Insert pastes the primary selection, which data-control
      // does not lend here; Ctrl+Shift+V is the paste key of every other
      // terminal.
      keyboard_->chord({kKeyLeftCtrl, kKeyLeftShift, kKeyV});
    }
  }

  // Puts the text seen before one paste back, once.
  class Restore {
   public:
    Restore(DataControlClipboard& clipboard, std::optional<std::string> saved)
        : clipboard_(clipboard), saved_(std::move(saved)), guard_(std::make_unique<QObject>()) {}
    QObject* guard() const { return guard_.get(); }
    void arm(int delayMs) {
      QTimer::singleShot(delayMs, guard_.get(), [this] { run(); });
    }
    void run() {
      if (done_) return;
      done_ = true;
      if (saved_) {
        clipboard_.offer(*saved_);
      } else {
        clipboard_.clear();
      }
    }

   private:
    DataControlClipboard& clipboard_;
    std::optional<std::string> saved_;
    std::unique_ptr<QObject> guard_;
    bool done_ = false;
  };

  PasteKeys pasteKeys() const {
    if (!focus_) return PasteKeys::controlV;
    const std::string appId = focus_->appId();
    return pasteKeysFor(appId, appId);
  }

  std::unique_ptr<WaylandConnection> connection_;
  wl_seat* seat_ = nullptr;
  std::unique_ptr<DataControlClipboard> clipboard_;
  std::unique_ptr<SeatKeyboard> keyboard_;
  std::unique_ptr<FocusedToplevel> focus_;
  std::deque<std::string> queue_;
  bool busy_ = false;
  unsigned serial_ = 0;
  QObject guard_;
};

// Keeps the X11 backend but says why the Wayland one was not used.
class FallbackTextInserter : public TextInserter {
 public:
  FallbackTextInserter(std::unique_ptr<TextInserter> inner, std::string reason)
      : inner_(std::move(inner)), reason_(std::move(reason)) {}
  void insert(const std::string& text) override { inner_->insert(text); }
  std::string unavailableReason() const override { return reason_; }

 private:
  std::unique_ptr<TextInserter> inner_;
  std::string reason_;
};

std::string missingProtocols(const WaylandConnection& connection) {
  if (!connection.isConnected()) return "cannot reach the Wayland compositor: " + connection.error();
  std::string missing;
  auto need = [&](const wl_interface& interface, const char* what) {
    if (connection.has(interface)) return;
    if (!missing.empty()) missing += " and ";
    missing += what;
  };
  need(wl_seat_interface, "a seat");
  need(zwlr_data_control_manager_v1_interface, "clipboard control (wlr-data-control)");
  need(zwp_virtual_keyboard_manager_v1_interface, "a virtual keyboard (virtual-keyboard-unstable-v1)");
  return missing.empty() ? std::string() : "the compositor offers no " + missing;
}

}  // namespace

std::unique_ptr<TextInserter> makeWaylandTextInserter() {
  auto connection = std::make_unique<WaylandConnection>();
  std::string why = missingProtocols(*connection);
  if (why.empty()) {
    auto inserter = std::make_unique<WaylandTextInserter>(std::move(connection));
    if (inserter->isReady()) return inserter;
    why = "the virtual keyboard could not be set up";
  }
  if (!qEnvironmentVariableIsEmpty("DISPLAY")) {
    // Said once here in full, and in the menu in the user's words.
    logLine("TextInserter: " + why + "; pasting only into X11 (XWayland) applications");
    return std::make_unique<FallbackTextInserter>(makeX11TextInserter(),
                                                  "Pasting works only in X11 (XWayland) applications here");
  }
  return makeUnavailableTextInserter(why + "; nothing can be pasted");
}

}  // namespace pellum
