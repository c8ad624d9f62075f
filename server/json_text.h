#pragma once

#include <string>
#include <string_view>

namespace pellum::server {

// `text` as a quoted JSON string whose every byte is ASCII: non-ASCII
// characters travel as \uXXXX escapes (surrogate pairs above U+FFFF).
// Clients check each network delivery for valid UTF-8 on its own, so a
// multi-byte character split between two TCP reads would otherwise be lost.
// Invalid UTF-8 in `text` becomes U+FFFD.
std::string asciiJsonString(std::string_view text);

// The live route's messages, as ASCII JSON text.
std::string rawMessage(std::string_view text);
std::string chunkMessage(std::string_view text);
std::string doneMessage();
std::string errorMessage(std::string_view error);

// What a text message from a live client asks for.
enum class ClientText { stop, unknown, notJson };

// {"type":"stop"} (any spacing or extra keys) is stop; any other JSON
// (objects, arrays, strings, numbers) is unknown, for the session to ignore;
// text that does not parse is notJson.
ClientText classifyClientText(std::string_view payload);

}  // namespace pellum::server
