#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace pellum::server {

// The Apertium mode names a translation between two ISO 639-1 codes may be
// installed under, most likely first: packages name pairs with three-letter
// codes ("eng-spa"), two-letter ones ("en-gl") or a mix.
std::vector<std::string> apertiumModeNames(std::string_view from, std::string_view to);

// The shell pipeline of an installed mode file, made persistent: every stage
// gets -z, so it flushes its output at each NUL and keeps running for the
// next text, and the unknown-word marks are turned off (what `apertium -u`
// passes as $1 and $2). Empty when the text holds no pipeline.
std::string nullFlushPipeline(std::string_view modeFile);

// A plain text in Apertium's stream format: the characters that format
// gives meaning to ([]^$/\@<>{}*#+~|) escaped with a backslash.
std::string apertiumEscape(std::string_view text);

// The output of a pipeline back to plain text: backslash escapes removed.
std::string apertiumUnescape(std::string_view text);

}  // namespace pellum::server
