#pragma once

// The voice-activity detector exported by Debian's libwebrtc-audio-processing,
// which ships no header for it. These declarations match the library's
// (webrtc/common_audio/vad/include/webrtc_vad.h of the same release); a unit
// test exercises each of them.

#include <cstddef>
#include <cstdint>

extern "C" {

typedef struct WebRtcVadInst VadInst;

VadInst* WebRtcVad_Create(void);
void WebRtcVad_Free(VadInst* handle);
// 0 on success, -1 on a null handle.
int WebRtcVad_Init(VadInst* handle);
// 0 on success, -1 for a mode outside 0...3 or an uninitialised handle.
int WebRtcVad_set_mode(VadInst* handle, int mode);
// 1 voice, 0 no voice, -1 for an invalid rate, length or handle.
int WebRtcVad_Process(VadInst* handle, int fs, const int16_t* audio_frame, size_t frame_length);
// 0 when the rate and frame length are supported together, else -1.
int WebRtcVad_ValidRateAndFrameLength(int rate, size_t frame_length);

}  // extern "C"
