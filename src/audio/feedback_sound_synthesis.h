#pragma once

#include <cstdint>
#include <vector>

namespace pellum {

// The two feedback sounds, made rather than shipped: 16-bit mono PCM at
// `sampleRate`. "Morse" marks an accepted press: two quick, bright pips.
// "Purr" marks an inserted transcript: a short, soft, low rising chirp.
// Both fade in and out, so they never click.
std::vector<std::int16_t> synthesizeMorse(int sampleRate);
std::vector<std::int16_t> synthesizePurr(int sampleRate);

}  // namespace pellum
