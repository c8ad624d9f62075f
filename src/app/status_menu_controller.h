#pragma once

#include <QObject>
#include <functional>
#include <memory>
#include <string>

#include "app/status_icon.h"
#include "app/status_menu_model.h"
#include "history/dictation_history.h"
#include "keyboard/hotkey_manager.h"
#include "ui/language_picker_popover.h"

namespace pellum {

// What the tray menu needs from the rest of the program. The icon and the
// hotkey manager are borrowed from the dictation controller and must outlive
// the menu controller.
struct StatusMenuParts {
  // Where the menu is shown; without an icon no menu is built.
  StatusIcon* statusIcon = nullptr;
  // The dictation key's watcher, for the "Dictation Key" rows; none when the
  // program has no key at all.
  HotkeyManager* hotkeyManager = nullptr;
  // Why pasting works only in part here; empty when it works everywhere.
  std::function<std::string()> pasteLimit;
  // The picker the language rows open; a real one is made when none is given.
  std::unique_ptr<LanguagePickerPopover> languagePicker;
  // Whether a device token is cached (signed in), and the account's actions.
  std::function<bool()> isSignedIn;
  std::function<void()> signIn;
  std::function<void()> signOut;
  std::function<std::string()> webBaseURL;
  // Tells the user a notice: what they asked for from the menu and could not
  // have.
  std::function<void(const std::string& message)> tell;
  // The recent dictations, for their rows; none (and no rows) when no store
  // could be opened.
  std::shared_ptr<DictationHistory> history;
  // Pastes a text as a dictation's is pasted; sends a kept recording to the
  // upload route again.
  std::function<void(const std::string& text)> pasteText;
  std::function<void(std::int64_t id)> retryRecording;
  // "Check for Updates…"; empty (and no such row) without an update feed.
  std::function<void()> checkForUpdates;
};

// The tray menu's half of the desktop program: builds the menu from the
// preferences and the sign-in state through the pure model
// (`buildStatusMenu`), carries out the chosen row (each choice writes one
// preference and rebuilds the whole menu), opens the language picker, and
// offers the dictation-key choices through the hotkey manager.
//
// Threads: main thread only, every method and every callback it hands out.
// A row chosen in the menu is carried out from the event loop, not from
// inside the QMenu's signal, because the rebuild replaces that menu; the
// queued call and the picker's callbacks hold the controller weakly.
class StatusMenuController : public QObject {
 public:
  explicit StatusMenuController(StatusMenuParts parts);

  // Replaces the icon's menu with one built from the current state.
  void buildMenu();
  // Carries out a row's action; `object` is the row's represented object
  // (a language code, a device uid or a keysym name) for the actions that
  // take one, ignored otherwise.
  void performMenuAction(MenuAction action, const std::string& object);

  // Watches `keysymName` from now on and stores the choice; when the key
  // cannot be had the old one stays and the user is told why.
  void chooseDictationKey(const std::string& keysymName);

  LanguagePickerPopover* languagePicker() { return parts_.languagePicker.get(); }

 private:
  // The menu's first row: the key to hold, or why there is none.
  std::string keyLine() const;
  void toggleCodeSwitchingLanguage(const std::string& code);
  // The recent dictations' rows, from the store.
  RecentDictationRows historyRows() const;
  void copyDictation(const std::string& idText);
  void toggleStartAtLogin();
  void tell(const std::string& message) const;

  StatusMenuParts parts_;
};

}  // namespace pellum
