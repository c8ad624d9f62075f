#pragma once

namespace pellum {

// Pairs the dictation key's raw transitions into presses and releases: a
// press only when the key was up, a release only when it was down. Repeated
// downs while held (auto-repeat, a second grab) and stray ups report nothing.
class HotkeyState {
 public:
  enum class Report { none, press, release };

  Report keyDown() {
    if (isHeld_) return Report::none;
    isHeld_ = true;
    return Report::press;
  }

  Report keyUp() {
    if (!isHeld_) return Report::none;
    isHeld_ = false;
    return Report::release;
  }

  // Up, without a report: the release went elsewhere.
  void forget() { isHeld_ = false; }

  bool isHeld() const { return isHeld_; }

 private:
  bool isHeld_ = false;
};

}  // namespace pellum
