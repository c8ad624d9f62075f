#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

struct Fvad;

namespace pellum {

// One WebRTC voice-activity detector instance, classifying frames of 16-bit
// PCM as voice or not. Not thread-safe: its owner uses it from one thread.
class VoiceActivityDetector {
 public:
  // How hard non-speech is rejected; the raw value goes to the detector as
  // it is.
  enum class Mode : std::int32_t { quality = 0, lowBitrate = 1, aggressive = 2, veryAggressive = 3 };

  // A Mode for 0...3; nothing otherwise.
  static std::optional<Mode> modeFromRawValue(std::int32_t raw);

  // Nothing when the detector cannot be made or refuses the rate or mode
  // (it takes 8000, 16000, 32000 and 48000 Hz). No instance is left behind.
  static std::unique_ptr<VoiceActivityDetector> create(std::int32_t sampleRate, Mode mode);
  ~VoiceActivityDetector();
  VoiceActivityDetector(const VoiceActivityDetector&) = delete;
  VoiceActivityDetector& operator=(const VoiceActivityDetector&) = delete;

  // Clears the adaptive state; the rate and mode stay.
  void reset();

  // True only for a frame classified as voice. A frame of the wrong length
  // (not 10, 20 or 30 ms) counts as no voice.
  bool isVoice(const std::int16_t* samples, std::size_t count);

  // Whether a chunk of 16-bit little-endian PCM bytes is voice.
  bool isVoice(const std::string& chunk) {
    return isVoice(reinterpret_cast<const std::int16_t*>(chunk.data()), chunk.size() / 2);
  }

  // The detector's own answer: 1 voice, 0 no voice, -1 invalid length.
  std::int32_t process(const std::int16_t* samples, std::size_t count);

  std::int32_t sampleRate() const { return sampleRate_; }
  Mode mode() const { return mode_; }

 private:
  VoiceActivityDetector(Fvad* inst, std::int32_t sampleRate, Mode mode)
      : inst_(inst), sampleRate_(sampleRate), mode_(mode) {}

  Fvad* inst_;
  std::int32_t sampleRate_;
  Mode mode_;
};

}  // namespace pellum
