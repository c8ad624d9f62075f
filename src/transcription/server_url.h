#pragma once

#include <string>

namespace pellum {

// The transcription server's base address: $PELLUM_TRANSCRIBE_URL, else the
// build's configured address, else http://127.0.0.1:3001. Empty values and
// unexpanded "$(" placeholders are skipped.
std::string resolveServerURL();

}  // namespace pellum
