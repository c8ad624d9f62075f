#pragma once

#include <memory>
#include <string>

namespace pellum {

// Short feedback sounds played through the sound server: "Morse" when a
// press is accepted, "Purr" when a transcript has been inserted. Playing
// never blocks; a sound the server cannot play is silently skipped.
// Main thread.
class FeedbackSounds {
 public:
  enum class Sound { morse, purr };

  virtual ~FeedbackSounds() = default;
  virtual void play(Sound sound) = 0;

  // The sound server's backend (PulseAudio or PipeWire's pulse service).
  static std::unique_ptr<FeedbackSounds> create();
};

// "Morse" or "Purr".
std::string soundName(FeedbackSounds::Sound sound);

}  // namespace pellum
