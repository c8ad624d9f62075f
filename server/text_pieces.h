#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace pellum::server {

// Cuts a final text into the "chunk" pieces it is sent as: each piece ends
// after a sentence mark or line break and its following blank, or after
// `maxWords` words, whichever comes first. Concatenated without separators
// the pieces give `text` back exactly; an empty text gives no pieces.
std::vector<std::string> textPieces(std::string_view text, std::size_t maxWords = 8);

}  // namespace pellum::server
