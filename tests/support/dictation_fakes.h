#pragma once

#include <string>
#include <vector>

#include "app/status_icon.h"
#include "audio/feedback_sounds.h"
#include "keyboard/hotkey_manager.h"
#include "keyboard/text_inserter.h"
#include "ui/dictation_overlay.h"

namespace pellum::test {

// Recording stand-ins for the dictation controller's visible collaborators.
// Each keeps a log of what it was asked to do, as readable strings.

class RecordingStatusIcon : public StatusIcon {
 public:
  void setSymbol(Symbol symbol, Tint tint) override {
    log.push_back(symbolName(symbol) + (tint == Tint::red ? " red" : " orange"));
  }
  void reset() override { log.push_back("idle"); }
  void showMessage(const std::string& text) override { messages.push_back(text); }
  void setMenu(const std::vector<MenuItem>& items, MenuHandler onAction) override {
    menu = items;
    menuHandler = std::move(onAction);
    ++menuBuilds;
  }
  std::vector<std::string> log;
  std::vector<std::string> messages;
  std::vector<MenuItem> menu;
  MenuHandler menuHandler;
  int menuBuilds = 0;
};

class RecordingSounds : public FeedbackSounds {
 public:
  void play(Sound sound) override { log.push_back(soundName(sound)); }
  std::vector<std::string> log;
};

class RecordingTextInserter : public TextInserter {
 public:
  void insert(const std::string& text) override { inserted.push_back(text); }
  std::vector<std::string> inserted;
};

class RecordingOverlay : public DictationOverlay {
 public:
  bool showRecording() override {
    log.push_back("recording");
    return true;
  }
  void setTargetLevel(float level) override { levels.push_back(level); }
  void showProcessing() override { log.push_back("processing"); }
  void hide() override { log.push_back("hidden"); }
  std::vector<std::string> log;
  std::vector<float> levels;
};

// A dictation key driven by the test.
class ManualHotkeyManager : public HotkeyManager {
 public:
  bool start() override { return true; }
  std::optional<DictationKey> key() const override { return describeDictationKey(0xffe4, "Control_R"); }
  std::string unavailableReason() const override { return {}; }
  std::optional<DictationKeyError> chooseKey(const std::string& keysymName) override {
    chosen.push_back(keysymName);
    return refuse;
  }
  void press() { keyWentDown(); }
  void release() { keyWentUp(); }
  void escape() { cancelPressed(); }
  void setCancelKeyArmed(bool armed) override { cancelKeyArmed = armed; }
  bool cancelKeyArmed = false;
  std::vector<std::string> chosen;
  std::optional<DictationKeyError> refuse;
};

}  // namespace pellum::test
