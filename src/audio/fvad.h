#pragma once

// The six calls of libfvad, the WebRTC voice-activity detector as a C
// library. When libfvad is installed it provides them; otherwise
// fvad_webrtc.cpp provides them, with the same documented behaviour, on top
// of the detector that Debian ships inside libwebrtc-audio-processing.

#include <cstddef>
#include <cstdint>

extern "C" {

typedef struct Fvad Fvad;

// A new detector in its default state (mode 0, 8000 Hz); null when out of
// memory.
Fvad* fvad_new(void);

// Frees the detector.
void fvad_free(Fvad* inst);

// Back to the default state: mode 0, 8000 Hz, adaptive state cleared.
void fvad_reset(Fvad* inst);

// Aggressiveness 0 (least) to 3 (most) in rejecting non-speech; 0 on
// success, -1 for any other value.
int fvad_set_mode(Fvad* inst, int mode);

// 8000, 16000, 32000 or 48000 Hz; 0 on success, -1 for any other rate.
int fvad_set_sample_rate(Fvad* inst, int sample_rate);

// Classifies one frame of 10, 20 or 30 ms at the set rate: 1 voice, 0 no
// voice, -1 for a frame of any other length.
int fvad_process(Fvad* inst, const int16_t* frame, size_t length);

}  // extern "C"
