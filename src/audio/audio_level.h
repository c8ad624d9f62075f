#pragma once

#include <string_view>

namespace pellum {

// The loudness shown by the waveform for one chunk of 16-bit little-endian
// PCM: the RMS as a fraction of full scale, divided by 0.15 and compressed by
// the exponent 0.6, capped at 1. 0 for fewer than two bytes. An RMS of 15% of
// full scale or more shows as 1; silence as 0.
float chunkLevel(std::string_view chunk);

}  // namespace pellum
