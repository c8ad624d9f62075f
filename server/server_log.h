#pragma once

#include <string_view>

namespace pellum::server {

// Writes "pellum-server: " + line to standard output, whole and flushed,
// from any thread, with control characters and non-UTF-8 bytes escaped
// (escapeForLog). Callers never pass a token or transcript text.
void logLine(std::string_view line);

}  // namespace pellum::server
