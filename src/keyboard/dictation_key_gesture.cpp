#include "keyboard/dictation_key_gesture.h"

#include <utility>

namespace pellum {

DictationKeyGesture::DictationKeyGesture(bool holdOrTap, std::chrono::milliseconds cap)
    : holdOrTap_(holdOrTap), cap_(cap) {}

DictationKeyGesture::Action DictationKeyGesture::keyDown(Clock::time_point now) {
  keyIsDown_ = true;
  pressedAt_ = now;
  switch (state_) {
    case State::idle:
    case State::waitingForRelease:
      // Presses come paired with releases, so a press while a release is
      // awaited means the release was never seen (the key was given back
      // to the application for a shortcut): a fresh start.
      state_ = State::holding;
      startedAt_ = now;
      return Action::start;
    case State::handsFree:
      // The tap that ends a hands-free dictation ends it on the way down,
      // so it feels as quick as a release.
      state_ = State::waitingForRelease;
      return Action::finish;
    case State::holding:
      return Action::none;
  }
  return Action::none;
}

DictationKeyGesture::Action DictationKeyGesture::keyUp(Clock::time_point now) {
  const bool wasDown = std::exchange(keyIsDown_, false);
  switch (state_) {
    case State::holding:
      if (holdOrTap_ && wasDown && now - pressedAt_ < kTapLimit) {
        state_ = State::handsFree;
        return Action::none;
      }
      state_ = State::idle;
      return Action::finish;
    case State::waitingForRelease:
      state_ = State::idle;
      return Action::none;
    case State::idle:
    case State::handsFree:
      return Action::none;
  }
  return Action::none;
}

std::optional<DictationKeyGesture::Clock::time_point> DictationKeyGesture::capDeadline() const {
  if (!isDictating()) return std::nullopt;
  return startedAt_ + cap_;
}

DictationKeyGesture::Action DictationKeyGesture::checkCap(Clock::time_point now) {
  const auto deadline = capDeadline();
  if (!deadline || now < *deadline) return Action::none;
  cancel();
  return Action::finish;
}

void DictationKeyGesture::cancel() { state_ = keyIsDown_ ? State::waitingForRelease : State::idle; }

}  // namespace pellum
