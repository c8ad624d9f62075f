#pragma once

#include <chrono>
#include <optional>

namespace pellum {

// Turns the dictation key's presses and releases into the start and the end
// of a dictation.
//
// Hold (the default): a dictation runs while the key is held.
// Hold or tap: a hold works the same; a press released within `tapLimit`
// leaves the dictation running hands-free until the next press, whose own
// release then means nothing.
//
// Either way a dictation ends by itself once it has run for `cap` (a key
// that sticks, a tap the user forgot), and `cancel` drops it; the key's
// next release after either is ignored. Pure logic: the caller passes the
// time of every event.
class DictationKeyGesture {
 public:
  using Clock = std::chrono::steady_clock;
  enum class Action { none, start, finish };

  static constexpr std::chrono::milliseconds kTapLimit{300};
  static constexpr std::chrono::minutes kDefaultCap{5};

  explicit DictationKeyGesture(bool holdOrTap = false, std::chrono::milliseconds cap = kDefaultCap);

  void setHoldOrTap(bool holdOrTap) { holdOrTap_ = holdOrTap; }
  bool holdOrTap() const { return holdOrTap_; }

  Action keyDown(Clock::time_point now);
  Action keyUp(Clock::time_point now);

  // When the running dictation reaches its cap; nothing when none runs.
  std::optional<Clock::time_point> capDeadline() const;
  // `finish` when the running dictation has reached its cap by `now`.
  Action checkCap(Clock::time_point now);

  // The dictation was dropped (or ended some other way): back to idle, the
  // key's pending release ignored.
  void cancel();

  bool isDictating() const { return state_ == State::holding || state_ == State::handsFree; }
  bool isHandsFree() const { return state_ == State::handsFree; }

 private:
  enum class State { idle, holding, handsFree, waitingForRelease };

  bool holdOrTap_;
  std::chrono::milliseconds cap_;
  State state_ = State::idle;
  bool keyIsDown_ = false;
  Clock::time_point pressedAt_{};
  Clock::time_point startedAt_{};
};

}  // namespace pellum
