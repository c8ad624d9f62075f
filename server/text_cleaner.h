#pragma once

#include <string>
#include <string_view>

namespace pellum::server {

// Tidies a verbatim transcript into dictation text, deterministically:
// - spoken punctuation becomes the mark: "comma" → ",", "period" / "full stop"
//   → ".", "question mark" → "?", "exclamation mark" / "exclamation point"
//   → "!", "colon" → ":", "semicolon" → ";", "new line" → a line feed,
//   "new paragraph" → two line feeds;
// - the fillers "um", "umm", "uh", "uhh", "er", "erm", "hmm" are dropped;
// - a word repeated right after itself ("the the") is said once;
// - "i" and its contractions ("i'm", "i'll", ...) become "I", "I'm", ...;
// - each sentence starts with a capital letter;
// - the text ends with a terminal mark (".", "?" or "!"), a "." when none
//   was spoken.
// Words are separated by single blanks; marks attach to the word before them.
// An input with no words gives an empty text.
std::string cleanTranscript(std::string_view raw);

}  // namespace pellum::server
