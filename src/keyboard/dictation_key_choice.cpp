#include "keyboard/dictation_key_choice.h"

namespace pellum {

DictationKeyRequest requestedDictationKey(const std::optional<std::string>& environment,
                                          const std::optional<std::string>& preference) {
  if (environment && !environment->empty()) return {*environment, DictationKeyRequest::Source::environment};
  if (preference && !preference->empty()) return {*preference, DictationKeyRequest::Source::preference};
  return {};
}

const std::vector<std::string_view>& dictationKeyNames() {
  static const std::vector<std::string_view> names{
      "XF86Fn", "Control_R", "Alt_R", "Menu", "Pause", "Scroll_Lock", "F13", "F14", "F15",   "F16",
      "F17",    "F18",       "F19",   "F20",  "F21",   "F22",         "F23", "F24", "Insert"};
  return names;
}

std::vector<DictationKey> dictationKeyCandidates(const std::function<bool(std::string_view)>& onKeyboard) {
  std::vector<DictationKey> keys;
  for (std::string_view name : dictationKeyNames()) {
    if (onKeyboard(name)) keys.push_back(describeDictationKey(0, name));
  }
  return keys;
}

std::string DictationKeyError::description() const {
  switch (kind) {
    case Kind::unknownName:
      return "No key is named \"" + keyName + "\"";
    case Kind::notOnKeyboard:
      return "This keyboard has no " + keyName + " key";
    case Kind::heldByAnotherProgram:
      return "Another program already uses " + keyName;
    case Kind::noKeyboardAccess:
      return "The keyboard cannot be watched";
    case Kind::cancelled:
      return "No key was chosen";
  }
  return {};
}

}  // namespace pellum
