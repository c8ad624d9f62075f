#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace pellum::server {

// One server-sent event with bare "\n" line ends: "event: NAME\ndata: DATA\n\n".
// `data` must hold no line break.
std::string eventText(std::string_view name, std::string_view data);

// The upload route's whole reply for a transcript: "raw" with the verbatim
// text as an ASCII JSON string, one "chunk" per piece, then "done" with {}.
std::string transcriptEvents(std::string_view raw, const std::vector<std::string>& pieces);

// An "error" event. The client shows the payload verbatim, so it is plain
// text; line breaks and non-ASCII bytes are replaced so it stays one ASCII line.
std::string errorEvent(std::string_view message);

}  // namespace pellum::server
