#pragma once

#include <memory>
#include <string>

#include "audio/speech_gate.h"
#include "audio/voice_activity_detector.h"

namespace pellum {

// The speech gate every dictation's audio passes through, the microphone's
// (AudioRecorder) and a file's (`pellum transcribe`) alike: the detector,
// very aggressive, at the dictation rate, decides which chunks are voiced.
// When the detector cannot start, every chunk counts as voiced.
//
// Not thread-safe: one thread feeds it (the recorder's capture thread).
class DictationSpeechGate {
 public:
  DictationSpeechGate();
  DictationSpeechGate(const DictationSpeechGate&) = delete;
  DictationSpeechGate& operator=(const DictationSpeechGate&) = delete;

  // Passes one whole chunk; `emit` receives what the gate lets out.
  void feed(const std::string& chunk, const SpeechGate::Emit& emit) { gate_.feed(chunk, emit); }
  // The bytes after the last whole chunk, at the end of the audio: they
  // follow the speech, and go nowhere when no speech was heard.
  void finish(const std::string& remainder, const SpeechGate::Emit& emit) const;
  // Back to waiting, detector included, for the next dictation.
  void reset();

  bool speechDetected() const { return gate_.speechDetected(); }
  bool hasDetector() const { return detector_ != nullptr; }

 private:
  std::unique_ptr<VoiceActivityDetector> detector_;
  SpeechGate gate_;
};

}  // namespace pellum
