#include "keyboard/event_tap_filter.h"

namespace pellum::event_tap {

namespace {

constexpr Verdict kPass{};
constexpr Verdict kPress{Verdict::Report::keyDown, true};
constexpr Verdict kRelease{Verdict::Report::keyUp, true};

}  // namespace

Verdict filter(std::uint32_t type, std::uint64_t flags, std::int64_t keyCode, bool isHeld, bool cancelArmed) {
  if (type == kDisabledByTimeout || type == kDisabledByUserInput)
    return {Verdict::Report::reEnableTap, false};
  if (type == kFlagsChanged) {
    const bool fnDown = (flags & kFnFlag) != 0;
    if (fnDown && !isHeld) return kPress;
    if (!fnDown && isHeld) return kRelease;
  }
  if (cancelArmed && type == kKeyDown && keyCode == kEscapeKeyCode) return {Verdict::Report::cancel, true};
  if (keyCode != kFnKeyCode) return kPass;
  if (type == kKeyUp) return isHeld ? kRelease : kPass;
  if (type == kKeyDown && !isHeld) return kPress;
  return kPass;
}

}  // namespace pellum::event_tap
