#pragma once

#include <optional>
#include <string>
#include <vector>

#include "transcription/transcription_mode.h"

namespace pellum {

// The user's preferences, kept in the per-user settings store
// (~/.config/pellum/pellum.conf on Linux). Every value is a string or a list
// of strings, under the keys of preference_rules.h.
//
// Readers read the store at the moment of the call and may be called from any
// thread; the one that may compute a default from the keyboard layouts hops
// to the main thread for that. Writers are for the main thread (menu actions
// and the language picker).
class Preferences {
 public:
  static TranscriptionMode currentMode();
  static void setMode(TranscriptionMode mode);

  static bool soundsOff();
  static void setSoundsOff(bool off);

  static bool isCodeSwitching();
  static void setCodeSwitching(bool codeSwitching);

  // The stored list, or (not written back) the keyboard layouts' languages.
  static std::vector<std::string> codeSwitchingLanguages();
  static std::optional<std::vector<std::string>> storedCodeSwitchingLanguages();
  static void setCodeSwitchingLanguages(const std::vector<std::string>& codes);

  static std::optional<std::string> translationTarget();
  // A non-empty code is stored; nothing or an empty code removes the key.
  static void setTranslationTarget(const std::optional<std::string>& code);

  // Nothing for automatic.
  static std::optional<std::string> selectedInputDeviceUID();
  // Nothing (automatic) stores "__auto__"; the key is never removed.
  static void setSelectedInputDeviceUID(const std::optional<std::string>& uid);

  // The chosen dictation key's keysym name; nothing for the automatic key.
  static std::optional<std::string> dictationKey();
  // Nothing or an empty name removes the key (automatic).
  static void setDictationKey(const std::optional<std::string>& keysymName);

  static bool holdOrTap();
  static void setHoldOrTap(bool holdOrTap);

  // Whether recent dictations are kept (on unless turned off), and whether
  // the recordings of successful ones are kept too (off unless turned on).
  static bool keepHistory();
  static void setKeepHistory(bool keep);
  static bool keepRecordings();
  static void setKeepRecordings(bool keep);

  // The raw stored "languageMode", for the language-value rule.
  static std::optional<std::string> storedLanguageMode();
};

// The "language" value of every transcription request, by the rule of
// requestLanguageValue over the current preferences and keyboard. Hops to
// the main thread for the keyboard when called elsewhere.
std::string requestLanguage();

}  // namespace pellum
