#include "audio/voice_activity_detector.h"

#include "audio/fvad.h"

namespace pellum {

std::optional<VoiceActivityDetector::Mode> VoiceActivityDetector::modeFromRawValue(std::int32_t raw) {
  if (raw < 0 || raw > 3) return std::nullopt;
  return static_cast<Mode>(raw);
}

std::unique_ptr<VoiceActivityDetector> VoiceActivityDetector::create(std::int32_t sampleRate, Mode mode) {
  Fvad* inst = fvad_new();
  if (!inst) return nullptr;
  if (fvad_set_sample_rate(inst, sampleRate) != 0 || fvad_set_mode(inst, static_cast<int>(mode)) != 0) {
    fvad_free(inst);
    return nullptr;
  }
  return std::unique_ptr<VoiceActivityDetector>(new VoiceActivityDetector(inst, sampleRate, mode));
}

VoiceActivityDetector::~VoiceActivityDetector() { fvad_free(inst_); }

void VoiceActivityDetector::reset() {
  // The detector's reset returns it to 8000 Hz and mode 0.
  fvad_reset(inst_);
  fvad_set_sample_rate(inst_, sampleRate_);
  fvad_set_mode(inst_, static_cast<int>(mode_));
}

bool VoiceActivityDetector::isVoice(const std::int16_t* samples, std::size_t count) {
  return process(samples, count) == 1;
}

std::int32_t VoiceActivityDetector::process(const std::int16_t* samples, std::size_t count) {
  return fvad_process(inst_, samples, count);
}

}  // namespace pellum
