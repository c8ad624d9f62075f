#pragma once

#include <cstdint>

namespace pellum {

// What the macOS keyboard event tap does with one event: the whole
// decision, kept here so it is tested on every platform; the tap itself
// (hotkey_manager_mac.mm) only reads the event's type, flags and key code
// and carries the verdict out.
namespace event_tap {

// Quartz event types the tap listens to, and the two by which the system
// says it switched the tap off.
inline constexpr std::uint32_t kKeyDown = 10;
inline constexpr std::uint32_t kKeyUp = 11;
inline constexpr std::uint32_t kFlagsChanged = 12;
inline constexpr std::uint64_t kEventMask =
    (1u << kKeyDown) | (1u << kKeyUp) | (1u << kFlagsChanged);  // 0x1C00
inline constexpr std::uint32_t kDisabledByTimeout = 0xFFFFFFFE;
inline constexpr std::uint32_t kDisabledByUserInput = 0xFFFFFFFF;

// The secondary-Fn bit of an event's flags, and the Fn key's virtual key
// code on key-down and key-up events.
inline constexpr std::uint64_t kFnFlag = 0x800000;
inline constexpr std::int64_t kFnKeyCode = 63;
// Escape, taken while a dictation can be cancelled.
inline constexpr std::int64_t kEscapeKeyCode = 53;

// The paste keystroke: V (kVK_ANSI_V) with exactly the Command flag.
inline constexpr std::uint16_t kVKeyCode = 9;
inline constexpr std::uint64_t kCommandFlag = 0x100000;

// How often accessibility trust is checked again after the tap could not
// be made, in milliseconds.
inline constexpr int kTrustRecheckMs = 1000;

struct Verdict {
  enum class Report { none, keyDown, keyUp, cancel, reEnableTap };
  Report report = Report::none;
  bool swallow = false;  // the tap returns no event: no application sees it

  bool operator==(const Verdict&) const = default;
};

// One event, given whether the Fn key is held now and whether Escape is
// armed: Fn's flag appearing or its key going down presses when not held,
// its flag clearing or its key coming up releases when held; those events
// are swallowed. Everything else (other keys, other modifiers, Shift while
// Fn is held, a second down) passes through untouched. A disable
// notification asks for the tap to be switched on again and passes through.
Verdict filter(std::uint32_t type, std::uint64_t flags, std::int64_t keyCode, bool isHeld, bool cancelArmed);

}  // namespace event_tap
}  // namespace pellum
