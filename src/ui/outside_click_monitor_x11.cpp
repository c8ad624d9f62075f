// Button presses anywhere on an X11 desktop, on a connection of our own.
// From XInput 2.1 on, raw events selected on the root window reach every
// client that asks for them, whatever grab another client holds and without
// one of ours: a card sees the click that goes to another application (or
// to a menu holding the pointer) and the dictation key's passive grab stays
// free to fire. Raw events carry no screen position, so the pointer is
// asked where it is once the press is read: a few milliseconds late, which
// a click, made with the pointer at rest, does not notice.

#include "ui/outside_click_monitor_x11.h"

#include <QGuiApplication>

#include <QObject>
#include <QScreen>
#include <QSocketNotifier>
#include <cstdint>
#include <cstdlib>

#include <xcb/xcb.h>
#include <xcb/xinput.h>

#include "base/threads.h"

namespace pellum {
namespace {

constexpr uint32_t kLeftButton = 1;
constexpr uint32_t kRightButton = 3;

// X speaks device pixels; Qt places windows in device-independent ones,
// each screen keeping its top-left corner and scaling away from it.
ScreenPoint toGlobal(int x, int y) {
  const QPoint native(x, y);
  for (QScreen* screen : QGuiApplication::screens()) {
    const qreal ratio = screen->devicePixelRatio();
    const QPoint origin = screen->geometry().topLeft();
    if (!QRect(origin, screen->geometry().size() * ratio).contains(native)) continue;
    const QPoint scaled = origin + (native - origin) / ratio;
    return {scaled.x(), scaled.y()};
  }
  return {x, y};
}

class X11OutsideClickMonitor : public OutsideClickMonitor {
 public:
  X11OutsideClickMonitor() : context_(std::make_unique<QObject>()) {}
  ~X11OutsideClickMonitor() override { stop(); }

  bool start(OnPress onPress) override {
    stop();
    if (!connect()) {
      disconnect();
      return false;
    }
    reason_.clear();
    onPress_ = std::move(onPress);
    // The replies read while connecting can pull events into xcb's own
    // queue, where the socket notifier never sees them.
    postTo(context_.get(), [this, generation = generation_] {
      if (generation == generation_) readEvents();
    });
    return true;
  }

  void stop() override {
    // Reports already queued belong to the old generation and are dropped.
    ++generation_;
    onPress_ = nullptr;
    disconnect();
  }

  std::string unavailableReason() const override { return reason_; }

 private:
  bool unavailable(std::string reason) {
    reason_ = std::move(reason);
    return false;
  }

  bool connect() {
    connection_ = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(connection_)) return unavailable("no X display to watch clicks on");
    const xcb_query_extension_reply_t* extension = xcb_get_extension_data(connection_, &xcb_input_id);
    if (!extension || !extension->present) return unavailable("the X server has no XInput extension");
    xinputOpcode_ = extension->major_opcode;

    // Under 2.0 a raw event reaches only the client that holds the grab, so
    // ask for 2.2 and take nothing below 2.1.
    std::unique_ptr<xcb_input_xi_query_version_reply_t, decltype(&free)> version(
        xcb_input_xi_query_version_reply(connection_, xcb_input_xi_query_version(connection_, 2, 2), nullptr),
        &free);
    if (!version) return unavailable("the X server does not speak XInput 2");
    if (version->major_version < 2 || (version->major_version == 2 && version->minor_version < 1)) {
      return unavailable("the X server has XInput " + std::to_string(version->major_version) + "." +
                         std::to_string(version->minor_version) + ", raw events need 2.1");
    }

    root_ = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data->root;
    struct {
      xcb_input_event_mask_t head;
      uint32_t bits;
    } mask{{XCB_INPUT_DEVICE_ALL_MASTER, 1}, XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS};
    if (xcb_generic_error_t* error = xcb_request_check(
            connection_, xcb_input_xi_select_events_checked(connection_, root_, 1, &mask.head))) {
      free(error);
      return unavailable("the X server refused raw button events");
    }

    notifier_ =
        new QSocketNotifier(xcb_get_file_descriptor(connection_), QSocketNotifier::Read, context_.get());
    QObject::connect(notifier_, &QSocketNotifier::activated, context_.get(), [this] { readEvents(); });
    return true;
  }

  void disconnect() {
    delete notifier_;
    notifier_ = nullptr;
    if (connection_) xcb_disconnect(connection_);
    connection_ = nullptr;
  }

  void readEvents() {
    if (!connection_) return;
    while (xcb_generic_event_t* event = xcb_poll_for_event(connection_)) {
      if (isLeftOrRightPress(event)) reportPointer();
      free(event);
    }
    // A dead connection keeps the socket readable; stop listening to it.
    if (xcb_connection_has_error(connection_) && notifier_) notifier_->setEnabled(false);
  }

  bool isLeftOrRightPress(const xcb_generic_event_t* event) const {
    if ((event->response_type & 0x7F) != XCB_GE_GENERIC) return false;
    const auto* generic = reinterpret_cast<const xcb_ge_generic_event_t*>(event);
    if (generic->extension != xinputOpcode_ || generic->event_type != XCB_INPUT_RAW_BUTTON_PRESS)
      return false;
    const uint32_t button = reinterpret_cast<const xcb_input_raw_button_press_event_t*>(event)->detail;
    return button == kLeftButton || button == kRightButton;
  }

  void reportPointer() {
    std::unique_ptr<xcb_query_pointer_reply_t, decltype(&free)> pointer(
        xcb_query_pointer_reply(connection_, xcb_query_pointer(connection_, root_), nullptr), &free);
    if (!pointer || !pointer->same_screen) return;
    const ScreenPoint where = toGlobal(pointer->root_x, pointer->root_y);
    // Queued, so that a callback closing its card (and stopping us) never
    // runs inside the notifier's own signal.
    postTo(context_.get(), [this, where, generation = generation_] {
      if (generation != generation_ || !onPress_) return;
      const OnPress callback = onPress_;  // it may stop or restart us
      callback(where);
    });
  }

  std::unique_ptr<QObject> context_;  // owns the notifier and the queued reports
  xcb_connection_t* connection_ = nullptr;
  QSocketNotifier* notifier_ = nullptr;
  xcb_window_t root_ = 0;
  uint8_t xinputOpcode_ = 0;
  uint64_t generation_ = 0;
  OnPress onPress_;
  std::string reason_;
};

}  // namespace

std::unique_ptr<OutsideClickMonitor> makeX11OutsideClickMonitor() {
  return std::make_unique<X11OutsideClickMonitor>();
}

}  // namespace pellum
