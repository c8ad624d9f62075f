#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "keyboard/hotkey_key.h"

namespace pellum {

// Which key to watch, and from where that choice came.
struct DictationKeyRequest {
  enum class Source { automatic, preference, environment };

  std::string keysymName;  // empty for the automatic choice
  Source source = Source::automatic;
};

// PELLUM_DICTATION_KEY wins over the stored preference, which wins over
// the automatic choice (Fn where the keyboard has it, else Right Ctrl).
// Empty values count as unset.
DictationKeyRequest requestedDictationKey(const std::optional<std::string>& environment,
                                          const std::optional<std::string>& preference);

// The keysym names worth offering as a push-to-talk key, in menu order:
// keys that type nothing and that few shortcuts need. Right Alt only as
// "Alt_R": where the key is AltGr (ISO_Level3_Shift) it is needed for
// typing and is not offered.
const std::vector<std::string_view>& dictationKeyNames();

// The offered keys this keyboard has, in menu order. `onKeyboard` says
// whether some key produces a keysym name at its first level.
std::vector<DictationKey> dictationKeyCandidates(const std::function<bool(std::string_view)>& onKeyboard);

// Why the dictation key could not be changed.
struct DictationKeyError {
  enum class Kind { unknownName, notOnKeyboard, heldByAnotherProgram, noKeyboardAccess, cancelled };

  Kind kind;
  std::string keyName;  // as shown to the user: "Scroll Lock"

  // "Another program already uses Scroll Lock", ...
  std::string description() const;
};

}  // namespace pellum
