#pragma once

#include <string>
#include <vector>

namespace pellum {

// The keyboard layouts the user has enabled, seen as languages.
//
// Both functions ask the window system and must run on the main thread;
// callers elsewhere hop there synchronously (see runOnMainThread).

// The primary language code of the active keyboard layout ("de" for a German
// layout); "en" when there is none, or it names no language we know.
std::string currentKeyboardLanguage();

// The distinct primary language codes of all enabled layouts, in the order
// the system lists them; ["en"] when there are none.
std::vector<std::string> keyboardInputLanguages();

}  // namespace pellum
