#pragma once

#include <memory>
#include <string>

namespace pellum {

// Short feedback sounds: "Morse" when a press is accepted, "Purr" when a
// transcript has been inserted. Playing never blocks; a sound that cannot
// be played is silently skipped. Main thread.
class FeedbackSounds {
 public:
  enum class Sound { morse, purr };

  virtual ~FeedbackSounds() = default;
  virtual void play(Sound sound) = 0;

  // The platform's backend: the sound server on Linux (PulseAudio or
  // PipeWire's pulse service), NSSound's system sounds on macOS.
  static std::unique_ptr<FeedbackSounds> create();
};

// "Morse" or "Purr": the names of the system sounds on macOS, and of the
// samples made in their likeness elsewhere.
inline std::string soundName(FeedbackSounds::Sound sound) {
  return sound == FeedbackSounds::Sound::morse ? "Morse" : "Purr";
}

}  // namespace pellum
