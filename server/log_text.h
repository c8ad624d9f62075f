#pragma once

#include <string>
#include <string_view>

namespace pellum::server {

// `text` made safe for a one-line log or a terminal: control characters
// (newline, carriage return, tab, ESC, NUL, DEL and the C1 controls) and
// bytes that are not UTF-8 become C-style escapes ("\n", "\x1b", "\xc2\x9b"),
// and a backslash is doubled so an escape can be told from the text.
// Printable UTF-8 is kept as it is.
std::string escapeForLog(std::string_view text);

}  // namespace pellum::server
