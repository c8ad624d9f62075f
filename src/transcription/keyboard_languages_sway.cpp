// Keyboard layouts on sway: its IPC lists each keyboard's layouts by their
// descriptions ("German (no dead keys)") and which one is active. The first
// keyboard that has layouts speaks for the seat, as sway switches all
// keyboards of a seat together.

#include <nlohmann/json.hpp>

#include "transcription/keyboard_layout_registry.h"
#include "wayland/sway_ipc.h"

namespace pellum {
namespace {

// One connection for the program's life, made again when sway dropped it.
SwayIpc& swayConnection() {
  static SwayIpc* ipc = nullptr;
  if (!ipc || !ipc->isConnected()) {
    delete ipc;
    ipc = new SwayIpc(std::chrono::milliseconds(500));
    ipc->connectTo();
  }
  return *ipc;
}

}  // namespace

KeyboardLayoutState swayKeyboardLayouts() {
  const auto reply = swayConnection().request(sway::getInputs, "");
  if (!reply) return {};
  const auto inputs = nlohmann::json::parse(*reply, nullptr, false);
  if (!inputs.is_array()) return {};
  const auto& registry = KeyboardLayoutRegistry::instance();
  for (const auto& input : inputs) {
    if (!input.is_object() || input.value("type", "") != "keyboard") continue;
    const auto names = input.find("xkb_layout_names");
    if (names == input.end() || !names->is_array() || names->empty()) continue;
    KeyboardLayoutState state;
    for (const auto& name : *names) {
      state.layouts.push_back(name.is_string() ? registry.byDescription(name.get<std::string>())
                                               : KeyboardLayout{});
    }
    const auto active = input.find("xkb_active_layout_index");
    state.active = active != input.end() && active->is_number_integer() ? active->get<int>() : 0;
    return state;
  }
  return {};
}

}  // namespace pellum
