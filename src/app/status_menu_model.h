#pragma once

#include <optional>
#include <string>
#include <vector>

#include "audio/audio_input_device.h"
#include "keyboard/hotkey_key.h"
#include "transcription/transcription_mode.h"

namespace pellum {

// What choosing a row does; one per kind of row, `none` for the rows that do
// nothing (labels, separators, submenus). The controller handles them in a
// `switch` without a default, so a new one cannot be left unhandled.
enum class MenuAction {
  none,  // first, so that a value-initialised action is none
  selectKeyboardLanguage,
  selectCodeSwitchingMode,
  toggleCodeSwitchingLanguage,  // the row's object is the language code
  openLanguagePicker,
  resetCodeSwitchingLanguages,
  selectCurrentTranslationTarget,
  selectNoTranslation,
  openTranslationPicker,
  selectRawMode,
  selectCleanMode,
  selectAutoMicrophone,
  selectMicrophone,  // the row's object is the device uid
  selectSoundsOn,
  selectSoundsOff,
  selectDictationKey,  // the row's object is the keysym name
  openDictationKeyCapture,
  toggleHoldOrTap,
  pasteLastTranscript,
  retryLastRecording,
  copyRecentDictation,  // the row's object is the dictation's id
  clearHistory,
  toggleKeepHistory,
  toggleKeepRecordings,
  openHome,
  signOut,
  signIn,
  toggleStartAtLogin,
  checkForUpdates,
  quit,
};

// Whether a row with `action` selects or toggles a choice, and so shows a
// check mark when checked.
bool isChoice(MenuAction action);

// One row of the tray menu. The menu is rebuilt from scratch from the
// preferences and the sign-in state every time anything changes, so these
// rows are the whole truth about it.
struct MenuItem {
  enum class Kind { action, label, separator, submenu };

  Kind kind = Kind::action;
  std::string title;
  MenuAction action = MenuAction::none;
  // A language code, a device uid or a keysym name, for the actions that
  // take one.
  std::string representedObject;
  bool checked = false;
  std::vector<MenuItem> children;  // for submenus

  bool operator==(const MenuItem&) const = default;

  static MenuItem separator() { return {Kind::separator, {}, {}, {}, false, {}}; }
  static MenuItem label(std::string title) { return {Kind::label, std::move(title), {}, {}, false, {}}; }
  static MenuItem submenu(std::string title, std::vector<MenuItem> children) {
    return {Kind::submenu, std::move(title), {}, {}, false, std::move(children)};
  }
  static MenuItem item(std::string title, MenuAction action, bool checked = false, std::string object = {}) {
    return {Kind::action, std::move(title), action, std::move(object), checked, {}};
  }
};

// The recent dictations as the menu offers them.
struct RecentDictationRows {
  struct Row {
    std::string id;    // the dictation's, in decimal
    std::string text;  // what it gave
  };
  // The newest dictations that gave text, newest first (the menu shows ten).
  std::vector<Row> texts;
  // The newest failed dictation whose recording is kept: its id, in decimal.
  std::optional<std::string> retryableId;
  bool keepHistory = true;
  bool keepRecordings = false;
};

// Everything the menu shows.
struct StatusMenuInputs {
  bool signedIn = false;
  // The first row: "Hold Right Ctrl to dictate", or why the key is not
  // available.
  std::string keyLine;
  // A second row when pasting works only in part on this desktop (no
  // clipboard control or virtual keyboard on Wayland); empty otherwise.
  std::string pasteLine;
  TranscriptionMode mode = TranscriptionMode::clean;
  bool soundsOff = false;
  bool codeSwitching = false;
  std::vector<std::string> keyboardLanguages;                   // the default code-switching list
  std::optional<std::vector<std::string>> storedCodeSwitching;  // nothing when none is stored
  std::optional<std::string> translateTo;
  std::vector<AudioInputDevice> devices;
  std::optional<std::string> storedDeviceUID;
  std::optional<AudioInputDevice> automaticDevice;
  bool hasUpdater = false;
  bool startAtLogin = false;  // the desktop starts Pellum at login
  // The "Dictation Key" submenu: the keys this keyboard offers, the one in
  // use (by keysym name; empty when none is watched), whether
  // PELLUM_DICTATION_KEY fixed it, and the hold-or-tap option.
  std::vector<DictationKey> dictationKeys;
  std::optional<DictationKey> dictationKey;
  bool dictationKeyForced = false;
  bool holdOrTap = false;
  // The recent dictations' rows; none at all when no history is at hand.
  std::optional<RecentDictationRows> history;
};

std::vector<MenuItem> buildStatusMenu(const StatusMenuInputs& inputs);

// The code-switching list after the user toggles `code`: removed when
// present, appended when not, then ordered by the language table (codes the
// table lacks go last, in their order). Nothing when `code` is the last one
// left: the last language cannot be removed.
std::optional<std::vector<std::string>> toggleCodeSwitchingLanguage(const std::vector<std::string>& current,
                                                                    const std::string& code);

// A dictation's text as a menu row shows it: blanks and line breaks as
// single spaces, at most 40 characters, an ellipsis when cut.
std::string menuTitleOf(const std::string& text);

// Stable order by position in the language table; unknown codes last.
std::vector<std::string> sortedByLanguageTable(std::vector<std::string> codes);

}  // namespace pellum
