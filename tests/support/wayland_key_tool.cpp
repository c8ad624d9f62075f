// A persistent virtual keyboard on a Wayland seat, for tests that press keys
// "on the user's keyboard" (sway binds keys from virtual keyboards as from
// real ones). One keyboard for the tool's whole life: a keyboard that comes
// and goes releases its keys and makes the compositor re-send focus.
//
//   wayland_key_tool [--layout us,de]
// reads commands on stdin, one per line, and answers "ok" to each once the
// compositor has seen it:
//   down CODE | up CODE | tap CODE     an evdev key code (KEY_A is 30)
//   sleep MS
// It prints "ready" once the keyboard exists and its keymap is in place.

#include <sys/mman.h>
#include <time.h>
#include <unistd.h>
#include <cstdio>
#include <cstring>
#include <string>

#include <wayland-client.h>
#include <xkbcommon/xkbcommon.h>

#include "wayland/virtual-keyboard-unstable-v1-client-protocol.h"

namespace {

wl_seat* seat = nullptr;
zwp_virtual_keyboard_manager_v1* manager = nullptr;

void global(void*, wl_registry* registry, uint32_t name, const char* interface, uint32_t version) {
  if (std::strcmp(interface, wl_seat_interface.name) == 0 && !seat) {
    seat = static_cast<wl_seat*>(
        wl_registry_bind(registry, name, &wl_seat_interface, version < 7 ? version : 7));
  } else if (std::strcmp(interface, zwp_virtual_keyboard_manager_v1_interface.name) == 0) {
    manager = static_cast<zwp_virtual_keyboard_manager_v1*>(
        wl_registry_bind(registry, name, &zwp_virtual_keyboard_manager_v1_interface, 1));
  }
}
void globalRemove(void*, wl_registry*, uint32_t) {}

uint32_t nowMs() {
  timespec ts{};
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<uint32_t>(ts.tv_sec * 1000 + ts.tv_nsec / 1000000);
}

// The keymap as xkbcommon compiles it for `layout`, in memory the
// compositor can map.
bool uploadKeymap(zwp_virtual_keyboard_v1* keyboard, const char* layout) {
  xkb_context* context = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
  xkb_rule_names names = {nullptr, nullptr, layout, nullptr, nullptr};
  xkb_keymap* keymap = xkb_keymap_new_from_names(context, &names, XKB_KEYMAP_COMPILE_NO_FLAGS);
  if (!keymap) return false;
  char* text = xkb_keymap_get_as_string(keymap, XKB_KEYMAP_FORMAT_TEXT_V1);
  const size_t size = std::strlen(text) + 1;
  const int fd = memfd_create("keymap", MFD_CLOEXEC);
  const bool written = fd >= 0 && write(fd, text, size) == static_cast<ssize_t>(size);
  if (written) zwp_virtual_keyboard_v1_keymap(keyboard, WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1, fd, size);
  if (fd >= 0) close(fd);
  free(text);
  xkb_keymap_unref(keymap);
  xkb_context_unref(context);
  return written;
}

}  // namespace

int main(int argc, char** argv) {
  const char* layout = "us";
  for (int i = 1; i + 1 < argc; ++i) {
    if (std::strcmp(argv[i], "--layout") == 0) layout = argv[i + 1];
  }
  wl_display* display = wl_display_connect(nullptr);
  if (!display) {
    std::fprintf(stderr, "wayland_key_tool: cannot connect to the compositor\n");
    return 1;
  }
  wl_registry* registry = wl_display_get_registry(display);
  static const wl_registry_listener listener = {global, globalRemove};
  wl_registry_add_listener(registry, &listener, nullptr);
  wl_display_roundtrip(display);
  if (!seat || !manager) {
    std::fprintf(stderr, "wayland_key_tool: the compositor has no seat or no virtual keyboards\n");
    return 1;
  }
  zwp_virtual_keyboard_v1* keyboard = zwp_virtual_keyboard_manager_v1_create_virtual_keyboard(manager, seat);
  if (!uploadKeymap(keyboard, layout)) {
    std::fprintf(stderr, "wayland_key_tool: cannot compile the \"%s\" keymap\n", layout);
    return 1;
  }
  wl_display_roundtrip(display);
  // The compositor re-sends keyboard focus when a new keyboard appears;
  // give that a moment before the first key.
  usleep(50 * 1000);
  std::printf("ready\n");
  std::fflush(stdout);

  char line[256];
  while (std::fgets(line, sizeof line, stdin)) {
    unsigned value = 0;
    char command[16] = {};
    if (std::sscanf(line, "%15s %u", command, &value) != 2) {
      std::printf("error: %s", line);
      std::fflush(stdout);
      continue;
    }
    const std::string name = command;
    if (name == "down" || name == "tap") {
      zwp_virtual_keyboard_v1_key(keyboard, nowMs(), value, WL_KEYBOARD_KEY_STATE_PRESSED);
    }
    if (name == "tap") wl_display_roundtrip(display);
    if (name == "up" || name == "tap") {
      zwp_virtual_keyboard_v1_key(keyboard, nowMs(), value, WL_KEYBOARD_KEY_STATE_RELEASED);
    }
    if (name == "sleep") usleep(value * 1000);
    if (wl_display_roundtrip(display) < 0) {
      std::fprintf(stderr, "wayland_key_tool: the compositor closed the connection\n");
      return 1;
    }
    std::printf("ok\n");
    std::fflush(stdout);
  }
  zwp_virtual_keyboard_v1_destroy(keyboard);
  wl_display_roundtrip(display);
  wl_display_disconnect(display);
  return 0;
}
