#pragma once

#include <QtGlobal>
#include <memory>
#include <string>
#include <vector>

#include "keyboard/hotkey_manager.h"
#include "support/event_loop.h"
#include "support/xtest_keyboard.h"

namespace pellum::test {

// The real X11 dictation key (Right Ctrl here), grabbed on the root window
// as the desktop program grabs it, pressed and released through XTest.
class DictationKeyRecorder {
 public:
  DictationKeyRecorder() {
    qputenv("PELLUM_HOTKEY_BACKEND", "x11");
    manager_ = HotkeyManager::create([this] { events_.push_back("press"); },
                                     [this] { events_.push_back("release"); });
  }
  ~DictationKeyRecorder() { keyboard_.release("Control_R"); }

  bool start() { return keyboard_.isConnected() && manager_->start(); }
  std::string unavailableReason() const { return manager_->unavailableReason(); }

  // Holds the key down and lets it go; returns what the key reported,
  // waiting until a press and a release came or 3 seconds passed.
  std::vector<std::string> pressAndRelease() {
    events_.clear();
    keyboard_.press("Control_R");
    keyboard_.release("Control_R");
    waitUntil([&] { return events_.size() >= 2; }, std::chrono::seconds(3));
    return events_;
  }

 private:
  std::unique_ptr<HotkeyManager> manager_;
  XTestKeyboard keyboard_;
  std::vector<std::string> events_;
};

}  // namespace pellum::test
