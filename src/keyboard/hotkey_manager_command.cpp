// The dictation key as the user's own desktop binding: the compositor runs
// `pellum dictate press|release|toggle|cancel`, which reaches this program
// through the single-instance channel (HotkeyManager::handleCommand). The
// program watches no key itself.

#include "keyboard/hotkey_manager_command.h"

namespace pellum {

namespace {

class CommandHotkeyManager : public HotkeyManager {
 public:
  bool start() override { return true; }

  std::optional<DictationKey> key() const override {
    DictationKey key;
    key.keysymName = "";
    key.displayName = "the key bound to `pellum dictate`";
    key.capName = "key";
    return key;
  }

  std::string unavailableReason() const override { return {}; }

  std::optional<DictationKeyError> chooseKey(const std::string&) override {
    // The key is whichever the desktop binds; the choice is kept for a
    // later session with a backend that watches keys.
    return std::nullopt;
  }
};

}  // namespace

std::unique_ptr<HotkeyManager> makeCommandHotkeyManager() { return std::make_unique<CommandHotkeyManager>(); }

}  // namespace pellum
