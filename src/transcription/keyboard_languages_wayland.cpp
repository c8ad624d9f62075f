// Keyboard layouts on Wayland compositors without a layout query of their
// own: the seat's keymap, which the compositor sends every client with a
// keyboard (also one with no window), names the layouts by description.
// Which layout is active goes only to the focused client, so it stays
// unknown here.

#include <sys/mman.h>
#include <unistd.h>

#include <memory>

#include <wayland-client.h>
#include <xkbcommon/xkbcommon.h>

#include "transcription/keyboard_layout_registry.h"
#include "wayland/wayland_connection.h"

namespace pellum {
namespace {

// Keeps the seat's keymap as layout descriptions, following changes.
class SeatKeymap {
 public:
  SeatKeymap() {
    if (!connection_.isConnected()) return;
    seat_ = connection_.bind<wl_seat>(wl_seat_interface, 5);
    if (!seat_) return;
    static const wl_seat_listener seatListener = {
        [](void* data, wl_seat*, uint32_t capabilities) {
          static_cast<SeatKeymap*>(data)->seatCapabilities(capabilities);
        },
        [](void*, wl_seat*, const char*) {}};
    wl_seat_add_listener(seat_, &seatListener, this);
    // Capabilities, then the keymap that getting the keyboard brings.
    connection_.roundtrip();
    connection_.roundtrip();
  }

  const std::vector<std::string>& layoutNames() const { return names_; }

 private:
  void seatCapabilities(uint32_t capabilities) {
    if (keyboard_ || !(capabilities & WL_SEAT_CAPABILITY_KEYBOARD)) return;
    keyboard_ = wl_seat_get_keyboard(seat_);
    static const wl_keyboard_listener keyboardListener = {
        [](void* data, wl_keyboard*, uint32_t format, int32_t fd, uint32_t size) {
          static_cast<SeatKeymap*>(data)->readKeymap(format, fd, size);
        },
        [](void*, wl_keyboard*, uint32_t, wl_surface*, wl_array*) {},
        [](void*, wl_keyboard*, uint32_t, wl_surface*) {},
        [](void*, wl_keyboard*, uint32_t, uint32_t, uint32_t, uint32_t) {},
        [](void*, wl_keyboard*, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t) {},
        [](void*, wl_keyboard*, int32_t, int32_t) {}};
    wl_keyboard_add_listener(keyboard_, &keyboardListener, this);
  }

  void readKeymap(uint32_t format, int32_t fd, uint32_t size) {
    if (format == WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1 && size > 0) {
      void* text = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd, 0);
      if (text != MAP_FAILED) {
        parse(static_cast<const char*>(text), size);
        munmap(text, size);
      }
    }
    close(fd);
  }

  void parse(const char* text, uint32_t size) {
    xkb_context* context = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
    if (!context) return;
    // The text may end in a NUL; the parser wants the length without it.
    const size_t length = strnlen(text, size);
    if (xkb_keymap* keymap = xkb_keymap_new_from_buffer(context, text, length, XKB_KEYMAP_FORMAT_TEXT_V1,
                                                        XKB_KEYMAP_COMPILE_NO_FLAGS)) {
      names_.clear();
      for (xkb_layout_index_t i = 0; i < xkb_keymap_num_layouts(keymap); ++i) {
        const char* name = xkb_keymap_layout_get_name(keymap, i);
        names_.push_back(name ? name : "");
      }
      xkb_keymap_unref(keymap);
    }
    xkb_context_unref(context);
  }

  WaylandConnection connection_;
  wl_seat* seat_ = nullptr;
  wl_keyboard* keyboard_ = nullptr;
  std::vector<std::string> names_;
};

}  // namespace

KeyboardLayoutState waylandKeyboardLayouts() {
  // Made once and kept: the compositor sends a new keymap when the layouts
  // change, and the connection's events are read from the event loop.
  static SeatKeymap* keymap = new SeatKeymap;
  KeyboardLayoutState state;
  const auto& registry = KeyboardLayoutRegistry::instance();
  for (const std::string& name : keymap->layoutNames()) state.layouts.push_back(registry.byDescription(name));
  return state;
}

}  // namespace pellum
