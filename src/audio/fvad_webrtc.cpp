// libfvad's six calls over Debian's WebRTC detector. libfvad is itself a thin
// wrapper of the same detector code, so decisions are the same frame for
// frame; what this file adds is libfvad's defaults and argument checks.

#include <new>

#include "audio/fvad.h"
#include "audio/webrtc_vad.h"

struct Fvad {
  VadInst* vad = nullptr;
  int sampleRate = 8000;
};

namespace {

constexpr int kDefaultRate = 8000;

bool isSupportedRate(int rate) { return rate == 8000 || rate == 16000 || rate == 32000 || rate == 48000; }

}  // namespace

extern "C" {

Fvad* fvad_new(void) {
  auto* inst = new (std::nothrow) Fvad;
  if (!inst) return nullptr;
  inst->vad = WebRtcVad_Create();
  if (!inst->vad) {
    delete inst;
    return nullptr;
  }
  fvad_reset(inst);
  return inst;
}

void fvad_free(Fvad* inst) {
  if (!inst) return;
  WebRtcVad_Free(inst->vad);
  delete inst;
}

void fvad_reset(Fvad* inst) {
  WebRtcVad_Init(inst->vad);  // also sets mode 0
  inst->sampleRate = kDefaultRate;
}

int fvad_set_mode(Fvad* inst, int mode) {
  if (mode < 0 || mode > 3) return -1;
  return WebRtcVad_set_mode(inst->vad, mode) == 0 ? 0 : -1;
}

int fvad_set_sample_rate(Fvad* inst, int sample_rate) {
  if (!isSupportedRate(sample_rate)) return -1;
  inst->sampleRate = sample_rate;
  return 0;
}

int fvad_process(Fvad* inst, const int16_t* frame, size_t length) {
  // libfvad accepts exactly 10, 20 and 30 ms frames at every rate it takes.
  const size_t perMs = static_cast<size_t>(inst->sampleRate / 1000);
  if (length != 10 * perMs && length != 20 * perMs && length != 30 * perMs) return -1;
  const int result = WebRtcVad_Process(inst->vad, inst->sampleRate, frame, length);
  if (result < 0) return -1;
  return result > 0 ? 1 : 0;
}

}  // extern "C"
