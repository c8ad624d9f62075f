#pragma once

#include <cstddef>

namespace pellum {

// A dictation's audio, the same from the microphone to the server: 16-bit
// little-endian mono PCM at 16 kHz, cut into 30 ms chunks (the frame the
// voice-activity detector reads). The recorder asks the sound server for
// it, `pellum transcribe` accepts only it, and the live route and the
// upload are told it.
inline constexpr int kDictationSampleRate = 16000;
inline constexpr int kDictationChannels = 1;
inline constexpr int kDictationChunkMilliseconds = 30;
inline constexpr std::size_t kDictationChunkBytes =
    std::size_t{kDictationSampleRate} / 1000 * kDictationChunkMilliseconds * 2 * kDictationChannels;

}  // namespace pellum
