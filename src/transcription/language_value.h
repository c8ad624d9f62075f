#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace pellum {

// Everything the "language" request value depends on, injected so the rule
// can be applied (and tested) without preferences or a keyboard.
struct LanguageInputs {
  std::optional<std::string> languageMode;                         // "languageMode" preference
  std::optional<std::vector<std::string>> codeSwitchingLanguages;  // stored list, if any
  std::function<std::vector<std::string>()> keyboardInputLanguages;
  std::function<std::string()> currentKeyboardLanguage;
};

// The value of the "language" parameter: in code-switching mode the stored
// list (or, when missing or empty, the keyboard languages) joined with ","
// and "en" for an empty list; otherwise the current keyboard language. Never
// validated against the language table and never percent-encoded.
std::string requestLanguageValue(const LanguageInputs& inputs);

// The primary subtag of a language tag: "en-US" gives "en", "zh-Hans" gives
// "zh". Empty pieces are dropped; empty when nothing is left.
std::string primaryLanguageSubtag(std::string_view tag);

// Each non-empty primary subtag of `tags`, once, in order of first
// appearance; ["en"] when nothing is collected.
std::vector<std::string> distinctPrimarySubtags(const std::vector<std::string>& tags);

// "en" when `tag` has no primary subtag, else the subtag.
std::string primarySubtagOrEnglish(std::string_view tag);

// The list joined with "," and no spaces.
std::string joinLanguageCodes(const std::vector<std::string>& codes);

}  // namespace pellum
