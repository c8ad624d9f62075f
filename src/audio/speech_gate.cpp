#include "audio/speech_gate.h"

namespace pellum {

void SpeechGate::feed(const std::string& chunk, const Emit& emit) {
  if (speechDetected_) {
    if (emit) emit(chunk);
    return;
  }
  if (!isVoiced(chunk)) {
    consecutiveVoiceCount_ = 0;
    confirmBuffer_.clear();  // keeps its storage
    return;
  }
  ++consecutiveVoiceCount_;
  confirmBuffer_.push_back(chunk);
  if (consecutiveVoiceCount_ < kConfirmThreshold) return;
  speechDetected_ = true;
  for (const auto& held : confirmBuffer_) {
    if (emit) emit(held);
  }
  confirmBuffer_.clear();
}

void SpeechGate::reset() {
  speechDetected_ = false;
  consecutiveVoiceCount_ = 0;
  confirmBuffer_.clear();
}

bool SpeechGate::isVoiced(const std::string& chunk) const {
  if (!classifier_) return true;
  if (chunk.empty()) return false;
  return classifier_(chunk);
}

}  // namespace pellum
