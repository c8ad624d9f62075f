#include "audio/dictation_speech_gate.h"

#include "audio/dictation_format.h"

namespace pellum {

DictationSpeechGate::DictationSpeechGate()
    : detector_(
          VoiceActivityDetector::create(kDictationSampleRate, VoiceActivityDetector::Mode::veryAggressive)) {
  if (detector_) {
    gate_ = SpeechGate(
        [detector = detector_.get()](const std::string& chunk) { return detector->isVoice(chunk); });
  }
}

void DictationSpeechGate::finish(const std::string& remainder, const SpeechGate::Emit& emit) const {
  if (!remainder.empty() && gate_.speechDetected() && emit) emit(remainder);
}

void DictationSpeechGate::reset() {
  gate_.reset();
  if (detector_) detector_->reset();
}

}  // namespace pellum
